/// @file
/// A session's places for tests of the crash reporter's parts.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "HUTEnv.h"
#include "support/SessionScene.h"

namespace crash_reporter_test {

/// A session on the machine "testhost", with an empty crash store.
class StoreScene : public test_support::SessionScene {
  protected:
    StoreScene() { makeStore(); }

    static std::string recordOf(pid_t pid) {
        return HUTEnv::getHostName() + ":" + std::to_string(pid);
    }
};

}  // namespace crash_reporter_test

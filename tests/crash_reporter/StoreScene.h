/// @file
/// A session's places for tests of the crash reporter's parts.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "HUTEnv.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

namespace crash_reporter_test {

/// Session 1 in a fresh launch directory, on the machine "testhost", with an empty crash store.
class StoreScene : public testing::Test {
  protected:
    StoreScene() {
        platform.fakeAppDataDir = directory.path();
        std::filesystem::create_directories(store);
    }

    /// Writes a file of the store in its place. @return its path.
    std::string add(const std::string& name, const std::string& content = "content") const {
        test_support::writeFile(store + "/" + name, content);
        return store + "/" + name;
    }
    /// Lets a file of the store appear whole.
    std::string moveIn(const std::string& name, const std::string& content = "content") const {
        test_support::writeFile(directory / name, content);
        std::filesystem::rename(directory / name, store + "/" + name);
        return store + "/" + name;
    }
    static std::string recordOf(pid_t pid) {
        return HUTEnv::getHostName() + ":" + std::to_string(pid);
    }

    const test_support::TempDir directory;
    test_support::ScopedEnvVar session{"ZEB_SESSION_INFO", directory.path() + ":1"};
    test_support::ScopedFakePlatform platform;
    const std::string sessionDirectory = directory / ".crashReporter/1";
    const std::string store = sessionDirectory + "/crashStore";
    const std::string registrations = store + "/processRegFile.txt";
    const std::string backup = directory / "crashStoreBackup";
};

}  // namespace crash_reporter_test

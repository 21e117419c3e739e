/// @file
/// A test that runs within a session.
#pragma once

#include <gtest/gtest.h>

#include "support/ScopedFakePlatform.h"
#include "support/Session.h"

namespace test_support {

/// The test's process is in a session of its own, on the machine "testhost".
class SessionScene : public testing::Test, public ScopedSession {
  protected:
    ScopedFakePlatform platform;
};

}  // namespace test_support

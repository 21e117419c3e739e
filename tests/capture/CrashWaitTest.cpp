// The one real wait of 100 seconds: nobody answers.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "capture/CrashHost.h"

using namespace std::chrono_literals;

namespace {

TEST(CrashWaitTest, WithoutACrashReporterAProcessWaitsAHundredSecondsAndNamesItsRawTrace) {
    const CrashHost host;
    const auto start = std::chrono::steady_clock::now();
    test_support::ChildProcess child = host.start({"null-write"});
    EXPECT_EQ(test_support::exitedWith(139), child.wait(140s));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100s);
    EXPECT_EQ("Error: Abnormal program termination (11) of process id " +
                  std::to_string(child.pid()) +
                  ". Please check this file for stacktrace: " + host.rawTrace(child.pid()) + "\n",
              child.standardOutput());
    EXPECT_NE("", host.report());
}

}  // namespace

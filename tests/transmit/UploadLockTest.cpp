#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <optional>

#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "transmit/UploadLock.h"

namespace hcrpt {
namespace {

using namespace std::chrono_literals;
using namespace test_support;

class UploadLockTest : public testing::Test {
  protected:
    bool isThere(const std::string& name) const {
        return std::filesystem::exists(directory / name);
    }
    /// Returns true when another process gets the lock within this time.
    bool othersGetIt(std::chrono::milliseconds patience) const {
        ChildProcess child = ChildProcess::fork([&] {
            const auto start = std::chrono::steady_clock::now();
            const UploadLock turn(directory.path(), patience);
            return std::chrono::steady_clock::now() - start < patience ? 0 : 1;
        });
        return child.wait() == exitedWith(0);
    }

    TempDir directory;
};

TEST_F(UploadLockTest, OnlyOneProcessHasIt) {
    std::optional<UploadLock> turn;
    turn.emplace(directory.path());
    ChildProcess other = ChildProcess::fork([&] {
        writeFile(directory / "waits", "");
        const UploadLock otherTurn(directory.path());
        writeFile(directory / "has it", "");
        return 0;
    });
    ASSERT_TRUE(eventually([&] { return isThere("waits"); }));
    EXPECT_FALSE(othersGetIt(200ms));
    EXPECT_FALSE(isThere("has it"));
    turn.reset();
    EXPECT_EQ(other.wait(), exitedWith(0));
    EXPECT_TRUE(isThere("has it"));
    EXPECT_TRUE(othersGetIt(10s));
}

TEST_F(UploadLockTest, AProcessThatIsKilledGivesItBackButNotBeforeItsToolHasEnded) {
    ChildProcess killed = ChildProcess::fork([&] {
        const UploadLock turn(directory.path());
        const pid_t tool = fork();
        if (tool == 0) {
            execlp("sh", "sh", "-c", "until test -e \"$0/go\"; do sleep 0.02; done",
                   directory.path().c_str(), nullptr);
            _exit(127);
        }
        writeFile(directory / "started", "");
        pause();
        return 0;
    });
    ASSERT_TRUE(eventually([&] { return isThere("started"); }));
    killed.signal(SIGKILL);
    killed.wait();
    EXPECT_FALSE(othersGetIt(200ms));
    writeFile(directory / "go", "");
    EXPECT_TRUE(othersGetIt(20s));
}

TEST_F(UploadLockTest, WhatTheToolLeavesRunningDoesNotKeepIt) {
    std::optional<UploadLock> turn;
    turn.emplace(directory.path());
    ChildProcess left = ChildProcess::exec({"sleep", "60"});
    turn.reset();
    EXPECT_TRUE(othersGetIt(10s));
}

TEST_F(UploadLockTest, WithoutTheDirectoryThereIsNothingToWaitFor) {
    const UploadLock first(directory / "missing");
    const UploadLock second(directory / "missing");
    EXPECT_EQ(test_support::namesIn(directory.path()), std::vector<std::string>());
}

TEST_F(UploadLockTest, LeavesNothingInTheDirectory) {
    { const UploadLock turn(directory.path()); }
    EXPECT_EQ(test_support::namesIn(directory.path()), std::vector<std::string>());
}

}  // namespace
}  // namespace hcrpt

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include "capture/SiblingLock.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace SiblingLock = hcrpt::SiblingLock;
using SiblingLock::Stage;
using test_support::ChildProcess;
using test_support::eventually;
using test_support::exitedWith;

namespace {

constexpr unsigned kLong = 1000;  // seconds; longer than any test

class SiblingLockTest : public testing::Test {
  protected:
    /// A child that has taken the lock, got so far, and waits for its end.
    ChildProcess holder(Stage stage) {
        const std::string mark = directory / "held";
        ChildProcess child = ChildProcess::fork([&] {
            SiblingLock::acquire();
            SiblingLock::note(stage);
            test_support::writeFile(mark, "");
            sleep(kLong);
            return 0;
        });
        EXPECT_TRUE(eventually([&] { return access(mark.c_str(), F_OK) == 0; }));
        return child;
    }
    test_support::TempDir directory;
};

TEST_F(SiblingLockTest, TheFirstProcessHasNoPredecessor) {
    ASSERT_TRUE(SiblingLock::prepare());
    SiblingLock::acquire();
    EXPECT_EQ(0, SiblingLock::predecessor().id);
}

TEST_F(SiblingLockTest, WithoutSharedMemoryNothingIsWaitedFor) {
    SiblingLock::acquire();
    SiblingLock::note(Stage::reported);
    EXPECT_EQ(0, SiblingLock::predecessor().id);
}

TEST_F(SiblingLockTest, ASiblingWaitsUntilTheHolderHasEndedAndLearnsHowFarItGot) {
    ASSERT_TRUE(SiblingLock::prepare());
    for (const Stage stage : {Stage::started, Stage::traceCopied, Stage::reported}) {
        ChildProcess first = holder(stage);
        ChildProcess second = ChildProcess::fork([&] {
            SiblingLock::acquire();
            const SiblingLock::Predecessor before = SiblingLock::predecessor();
            return before.id == first.pid() && before.stage == stage ? 0 : 1;
        });
        usleep(50'000);
        EXPECT_FALSE(second.hasEnded()) << "it did not wait";
        first.signal(SIGKILL);
        first.wait();
        EXPECT_EQ(exitedWith(0), second.wait());
        unlink((directory / "held").c_str());
    }
}

TEST_F(SiblingLockTest, AChildThatIsForkedWhileItsParentCrashesWaitsLikeOthers) {
    ASSERT_TRUE(SiblingLock::prepare());
    SiblingLock::acquire();
    ChildProcess child = ChildProcess::fork([] {
        SiblingLock::note(Stage::reported);  // must not speak for its parent
        return SiblingLock::tryAcquire() ? 1 : 0;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
    ChildProcess next =
        ChildProcess::fork([] { return SiblingLock::predecessor().id == 0 ? 0 : 1; });
    EXPECT_EQ(exitedWith(0), next.wait());
}

TEST_F(SiblingLockTest, AHolderBeyondItsDeadlineIsNotWaitedFor) {
    SiblingLock::maxHoldSeconds = 0;
    ASSERT_TRUE(SiblingLock::prepare());
    ChildProcess first = holder(Stage::started);
    first.signal(SIGSTOP);
    ChildProcess second = ChildProcess::fork([&] {
        SiblingLock::acquire();
        SiblingLock::note(Stage::reported);  // must not speak for the holder
        return 0;
    });
    EXPECT_EQ(exitedWith(0), second.wait());
    first.signal(SIGKILL);
    first.wait();
    SiblingLock::acquire();
    EXPECT_EQ(Stage::started, SiblingLock::predecessor().stage);
}

}  // namespace

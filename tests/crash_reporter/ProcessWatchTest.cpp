#include <signal.h>

#include "StoreScene.h"
#include "crash_reporter/ProcessWatch.h"
#include "support/ChildProcess.h"

namespace {

using crash_reporter::Clock;
using crash_reporter::ProcessWatch;
using crash_reporter::Records;
using namespace test_support;

class ProcessWatchTest : public crash_reporter_test::StoreScene {
  protected:
    /// Ends the process, but does not reap it, so that it stays in the process table.
    void end(const ChildProcess& ended) {
        ended.signal(SIGKILL);
        ASSERT_TRUE(test_support::eventually([&] { return !isRunning(ended.pid()); }));
    }
    ProcessWatch watch;
    ChildProcess process = ChildProcess::exec({"sleep", "60"});
};

TEST_F(ProcessWatchTest, FollowsProcessesOfThisMachineThatRun) {
    watch.follow({recordOf(process.pid()), recordOf(getpid()), recordOf(4194305),
                  "otherhost:" + std::to_string(getpid()), "testhost:x", "testhost:", "testhost",
                  "testhost:99999999999999"});
    EXPECT_EQ(watch.living(), (Records{recordOf(process.pid()), recordOf(getpid())}));
    watch.noticeEnds();
    EXPECT_FALSE(watch.takeEnds());
    EXPECT_FALSE(watch.nextPoll());
}

TEST_F(ProcessWatchTest, AnEndMakesADescriptorReadable) {
    watch.follow({recordOf(process.pid())});
    ASSERT_TRUE(watch.isComplete()) << "this kernel has no process descriptors";
    std::vector<pollfd> waits;
    watch.addTo(waits);
    ASSERT_EQ(waits.size(), 1U);
    EXPECT_EQ(poll(waits.data(), 1, 0), 0);
    end(process);
    EXPECT_EQ(poll(waits.data(), 1, 20000), 1);
    watch.noticeEnds();
    EXPECT_TRUE(watch.takeEnds());
    EXPECT_TRUE(watch.living().empty());
    waits.clear();
    watch.addTo(waits);
    EXPECT_TRUE(waits.empty()) << "it would stay readable";
}

TEST_F(ProcessWatchTest, AnEndedProcessIsPolledAfterGrowingPausesUntilItsParentReapsIt) {
    watch.follow({recordOf(process.pid())});
    end(process);
    watch.noticeEnds();
    watch.noticeEnds();
    ASSERT_TRUE(watch.takeEnds()) << "forgotten before it was taken";
    EXPECT_FALSE(watch.takeEnds());
    auto pause = Clock::duration::zero();
    for (int polls = 0; polls < 12; ++polls) {
        ASSERT_TRUE(watch.nextPoll());
        const auto due = *watch.nextPoll();
        watch.poll(due - std::chrono::milliseconds(1));
        EXPECT_EQ(*watch.nextPoll(), due) << "polled too early";
        watch.poll(due);
        EXPECT_GE(*watch.nextPoll() - due, pause);
        pause = *watch.nextPoll() - due;
        watch.follow({recordOf(process.pid())});
        EXPECT_TRUE(watch.living().empty());
    }
    EXPECT_EQ(pause, std::chrono::seconds(10));
    process.wait();
    watch.poll(*watch.nextPoll());
    EXPECT_FALSE(watch.nextPoll());
}

TEST_F(ProcessWatchTest, TheEndOfAnotherProcessBeginsWithShortPausesAgain) {
    constexpr std::chrono::milliseconds kFirstPause(50);
    ChildProcess other = ChildProcess::exec({"sleep", "60"});
    watch.follow({recordOf(process.pid()), recordOf(other.pid())});
    for (const ChildProcess* ended : {&process, &other}) {
        end(*ended);
        const auto before = Clock::now();
        watch.noticeEnds();
        ASSERT_TRUE(watch.nextPoll());
        EXPECT_GE(*watch.nextPoll(), before + kFirstPause);
        const auto first = *watch.nextPoll();
        watch.poll(first);
        EXPECT_EQ(*watch.nextPoll(), first + 2 * kFirstPause);
        for (int i = 0; i < 5; ++i) watch.poll(*watch.nextPoll());
    }
}

TEST_F(ProcessWatchTest, AnEndedProcessThatIsReapedIsForgotten) {
    watch.follow({recordOf(process.pid())});
    end(process);
    process.wait();
    watch.noticeEnds();
    EXPECT_TRUE(watch.takeEnds());
    EXPECT_FALSE(watch.nextPoll());
}

}  // namespace

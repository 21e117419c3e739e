#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>

#include "capture/SecondsLeft.h"
#include "capture/Watchdog.h"
#include "support/ChildProcess.h"

namespace Watchdog = hcrpt::Watchdog;
using namespace test_support;

namespace {

bool isTimerSet() {
    return secondsLeft() > 0;
}

[[noreturn]] void hang() {
    for (;;) pause();
}

// Only a process that is crashing anyway may be ended so: the library's callers are others, too.
TEST(WatchdogTest, DoesNothingInAProcessThatIsNotDying) {
    ChildProcess host = ChildProcess::fork([] {
        Watchdog::set(1);
        struct sigaction action = {};
        sigaction(SIGALRM, nullptr, &action);
        return isTimerSet() || action.sa_handler != SIG_DFL ? 1 : 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(WatchdogTest, EndsTheProcessWithTheStatus) {
    ChildProcess host = ChildProcess::fork([] {
        Watchdog::enable(139);
        Watchdog::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(139), host.wait());
}

TEST(WatchdogTest, EndsItAlthoughTheHostIgnoresAndBlocksTheSignal) {
    ChildProcess host = ChildProcess::fork([] {
        signal(SIGALRM, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        Watchdog::enable(134);
        Watchdog::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(134), host.wait());
}

TEST(WatchdogTest, ANewStretchReplacesTheOneBefore) {
    ChildProcess host = ChildProcess::fork([] {
        Watchdog::enable(139);
        Watchdog::set(1);
        Watchdog::set(100);
        timespec left = {1, 500000000};
        while (nanosleep(&left, &left) != 0) {
        }
        return isTimerSet() ? 5 : 6;
    });
    EXPECT_EQ(exitedWith(5), host.wait());
}

TEST(WatchdogTest, EndsWithoutExitHandlers) {
    ChildProcess host = ChildProcess::fork([] {
        std::atexit([] { _exit(1); });
        Watchdog::enable(139);
        Watchdog::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(139), host.wait());
}

}  // namespace

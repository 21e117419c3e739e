#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <ctime>

#include "capture/Watchdog.h"
#include "support/ChildProcess.h"
#include "support/MissingSystemCall.h"

namespace Watchdog = hcrpt::Watchdog;
using namespace test_support;

namespace {

bool isTimerSet() {
    return hcrpt::Watchdog::secondsLeft() > 0;
}

[[noreturn]] void hang() {
    for (;;) pause();
}

// Only a process that is crashing anyway may be ended so: the library's callers are others, too.
TEST(WatchdogTest, DoesNothingInAProcessThatIsNotDying) {
    ChildProcess host = ChildProcess::fork([] {
        Watchdog::set(1);
        struct sigaction action = {};
        sigaction(SIGSTKFLT, nullptr, &action);
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
        for (const int number : {SIGALRM, SIGSTKFLT}) signal(number, SIG_IGN);
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

// The host may use the signal, and a timer for it, too.
TEST(WatchdogTest, TheSignalOfAnythingElseDoesNotEndTheProcess) {
    ChildProcess host = ChildProcess::fork([] {
        Watchdog::enable(139);
        Watchdog::set(100);
        sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGSTKFLT;
        timer_t timer = nullptr;
        const itimerspec soon = {{}, {0, 1000000}};
        if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0) return 1;
        timer_settime(timer, 0, &soon, nullptr);
        raise(SIGSTKFLT);
        timespec left = {0, 50000000};
        while (nanosleep(&left, &left) != 0) {
        }
        return timer_getoverrun(timer) == 0 && isTimerSet() ? 5 : 6;
    });
    EXPECT_EQ(exitedWith(5), host.wait());
}

TEST(WatchdogTest, AnAlarmThatIsSetMeanwhileNeitherEndsTheProcessNorMovesTheDeadline) {
    ChildProcess host = ChildProcess::fork([] {
        signal(SIGALRM, [](int) {});
        Watchdog::enable(139);
        Watchdog::set(2);
        const itimerval often = {{0, 1000}, {0, 1000}};
        setitimer(ITIMER_REAL, &often, nullptr);
        timespec left = {1, 0};
        while (nanosleep(&left, &left) != 0) {
        }
        if (!isTimerSet()) return 1;
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(139), host.wait());
}

TEST(WatchdogTest, TheIntervalTimersOfTheHostAreStopped) {
    ChildProcess host = ChildProcess::fork([] {
        const auto kinds = {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF};
        const itimerval later = {{1000, 0}, {1000, 0}};
        for (const auto kind : kinds) setitimer(kind, &later, nullptr);
        Watchdog::enable(139);
        for (const auto kind : kinds) {
            itimerval timer = {};
            getitimer(kind, &timer);
            if (timer.it_value.tv_sec != 0 || timer.it_value.tv_usec != 0) return 1;
        }
        return 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(WatchdogTest, WithoutAFurtherTimerTheIntervalTimerServes) {
    ChildProcess host = ChildProcess::fork([] {
        if (!test_support::takeAwaySystemCall(SYS_timer_create)) return 1;
        Watchdog::enable(139);
        Watchdog::set(1);
        raise(SIGALRM);  // too early
        hang();
        return 0;
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(exitedWith(139), host.wait());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
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

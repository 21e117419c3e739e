#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>

#include "capture/CrashDeadline.h"
#include "capture/SecondsLeft.h"
#include "support/ChildProcess.h"

namespace CrashDeadline = hcrpt::CrashDeadline;
using test_support::ChildProcess;
using test_support::exitedWith;

namespace {

bool isTimerSet() {
    return secondsLeft() > 0;
}

[[noreturn]] void hang() {
    for (;;) pause();
}

// Only a process that is dying anyway may be ended so: the library's callers are others, too.
TEST(CrashDeadlineTest, DoesNothingInAProcessThatIsNotDying) {
    ChildProcess host = ChildProcess::fork([] {
        CrashDeadline::set(1);
        struct sigaction action = {};
        sigaction(SIGALRM, nullptr, &action);
        return isTimerSet() || action.sa_handler != SIG_DFL ? 1 : 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(CrashDeadlineTest, EndsTheProcessWithTheStatus) {
    ChildProcess host = ChildProcess::fork([] {
        CrashDeadline::enable(139);
        CrashDeadline::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(139), host.wait());
}

TEST(CrashDeadlineTest, EndsItAlthoughTheHostIgnoresAndBlocksTheSignal) {
    ChildProcess host = ChildProcess::fork([] {
        signal(SIGALRM, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        CrashDeadline::enable(134);
        CrashDeadline::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(134), host.wait());
}

TEST(CrashDeadlineTest, ANewStretchReplacesTheOneBefore) {
    ChildProcess host = ChildProcess::fork([] {
        CrashDeadline::enable(139);
        CrashDeadline::set(1);
        CrashDeadline::set(100);
        timespec left = {1, 500000000};
        while (nanosleep(&left, &left) != 0) {
        }
        return isTimerSet() ? 5 : 6;
    });
    EXPECT_EQ(exitedWith(5), host.wait());
}

TEST(CrashDeadlineTest, EndsWithoutExitHandlers) {
    ChildProcess host = ChildProcess::fork([] {
        std::atexit([] { _exit(1); });
        CrashDeadline::enable(139);
        CrashDeadline::set(1);
        hang();
        return 0;
    });
    EXPECT_EQ(exitedWith(139), host.wait());
}

}  // namespace

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "capture/CrashClaim.h"
#include "capture/ProcessCopy.h"
#include "support/ChildProcess.h"

namespace CrashClaim = hcrpt::CrashClaim;
using test_support::ChildProcess;
using test_support::exitedWith;

namespace {

constexpr int kOtherwise = 77;

int s_number = 0;

/// Lets a child of vfork() go on in a copy, which runs the function. @return the child's status.
template <typename InCopy>
int statusOfChild(InCopy inCopy) {
    const pid_t child = vfork();
    if (child == 0) {
        hcrpt::continueInCopy(kOtherwise);
        inCopy();
        _exit(1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ProcessCopyTest, TheMemoryOfTheParentStaysAndTheStatusIsPassedOn) {
    CrashClaim::prepare();
    const int status = statusOfChild([] {
        ++s_number;
        _exit(CrashClaim::isMemoryBorrowed() ? 2 : 42);
    });
    EXPECT_EQ(42, status);
    EXPECT_EQ(0, s_number);
}

TEST(ProcessCopyTest, TheStatusIsPassedOnWhereTheHostIgnoresSigchld) {
    ChildProcess host = ChildProcess::fork([] {
        CrashClaim::prepare();
        const pid_t child = vfork();
        if (child == 0) {
            signal(SIGCHLD, SIG_IGN);  // in the child alone, so that this process hears of its end
            hcrpt::continueInCopy(kOtherwise);
            _exit(42);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    });
    EXPECT_EQ(exitedWith(42), host.wait());
}

TEST(ProcessCopyTest, ACopyThatIsKilledCountsAsNone) {
    CrashClaim::prepare();
    EXPECT_EQ(kOtherwise, statusOfChild([] { kill(getpid(), SIGKILL); }));
}

TEST(ProcessCopyTest, TextThatWaitsInTheBufferIsWrittenByTheParentOnly) {
    ChildProcess host = ChildProcess::fork([] {
        CrashClaim::prepare();
        std::printf("text of the host\n");
        statusOfChild([] {
            std::printf("text of the copy\n");
            std::fflush(stdout);
        });
        return 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
    EXPECT_EQ("text of the copy\ntext of the host\n", host.standardOutput());
}

}  // namespace

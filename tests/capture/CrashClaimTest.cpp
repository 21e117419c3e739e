#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "capture/CrashClaim.h"
#include "support/ChildProcess.h"

namespace CrashClaim = hcrpt::CrashClaim;
using CrashClaim::Claim;
using test_support::ChildProcess;
using test_support::exitedWith;

namespace {

TEST(CrashClaimTest, OneThreadHasTheCrash) {
    ChildProcess host = ChildProcess::fork([] {
        CrashClaim::prepare();
        if (CrashClaim::signalOfCrash() != 0 || CrashClaim::isOfOtherThread()) return 1;
        if (CrashClaim::claim(SIGFPE) != Claim::taken) return 2;
        if (CrashClaim::claim(SIGSEGV) != Claim::withinHandler) return 3;
        if (CrashClaim::isOfOtherThread() || CrashClaim::signalOfCrash() != SIGFPE) return 4;
        Claim ofOther = Claim::taken;
        bool isOfOther = false;
        std::thread([&] {
            ofOther = CrashClaim::claim(SIGSEGV);
            isOfOther = CrashClaim::isOfOtherThread();
        }).join();
        return ofOther == Claim::otherThread && isOfOther ? 0 : 5;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(CrashClaimTest, AForkedChildHasItsOwnCrashWhateverItsParentDoes) {
    ChildProcess host = ChildProcess::fork([] {
        CrashClaim::prepare();
        CrashClaim::claim(SIGFPE);
        ChildProcess child = ChildProcess::fork([] {
            if (CrashClaim::isMemoryBorrowed() || CrashClaim::doesOwnerCrash()) return 1;
            if (CrashClaim::signalOfCrash() != 0 || CrashClaim::isOfOtherThread()) return 2;
            return CrashClaim::claim(SIGSEGV) == Claim::taken ? 0 : 3;
        });
        return child.wait() == exitedWith(0) ? 0 : 1;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

// The C library's handlers do not run there.
TEST(CrashClaimTest, AChildOfTheSystemCallHasMemoryOfItsOwn) {
    ChildProcess host = ChildProcess::fork([] {
        CrashClaim::prepare();
        const auto child = static_cast<pid_t>(syscall(SYS_fork));
        if (child == 0) _exit(CrashClaim::isMemoryBorrowed() ? 1 : 0);
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(CrashClaimTest, AChildOfVforkBorrowsTheMemoryInAForkedProcessToo) {
    CrashClaim::prepare();
    ChildProcess host = ChildProcess::fork([] {
        volatile bool isBorrowed = false;
        volatile bool crashes = false;
        for (const bool claims : {false, true}) {
            if (claims) CrashClaim::claim(SIGSEGV);
            const pid_t child = vfork();
            if (child == 0) {
                isBorrowed = CrashClaim::isMemoryBorrowed();
                crashes = CrashClaim::doesOwnerCrash();
                _exit(0);
            }
            waitpid(child, nullptr, 0);
            if (!isBorrowed || crashes != claims || CrashClaim::isMemoryBorrowed()) return 1;
        }
        return 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

}  // namespace

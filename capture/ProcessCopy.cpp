// Runs on the interrupted stack, of which nearly nothing may be left, and changes none of the
// memory but that stack: no cancellation points, no locks, no errno.
#include "capture/ProcessCopy.h"

#include <signal.h>
#include <stdio_ext.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "capture/CrashClaim.h"

namespace hcrpt {
namespace {

constexpr long kPollsPerSecond = 100;

/// A system call without the C library, which keeps a failed one's error in the shared memory.
long call(long number, long first, const void* second, long third, const void* fourth) {
    register const void* inR10 asm("r10") = fourth;
    register long inR8 asm("r8") = 0;
    asm volatile("syscall"
                 : "+a"(number)
                 : "D"(first), "S"(second), "d"(third), "r"(inR10), "r"(inR8)
                 : "rcx", "r11", "memory");
    return number;
}

void pause() {
    const timespec time = {0, 1000000000 / kPollsPerSecond};
    call(SYS_nanosleep, reinterpret_cast<long>(&time), nullptr, 0, nullptr);
}

/// Returns the status to end with.
int statusOf(long copy, int otherwise) {
    int status = 0;
    for (long poll = 0; poll < CrashClaim::kMaxCrashSeconds * kPollsPerSecond; ++poll) {
        const long ended = call(SYS_wait4, copy, &status, WNOHANG | __WALL, nullptr);
        if (ended == copy) return WIFEXITED(status) ? WEXITSTATUS(status) : otherwise;
        if (ended < 0 && ended != -EINTR) return otherwise;
        pause();
    }
    syscall(SYS_kill, copy, SIGKILL);
    return otherwise;
}

/// What waits in stdio's buffer is the other process's, which will write it itself.
void dropBufferedOutput() {
    if (ftrylockfile(stdout) != 0) return;
    __fpurge(stdout);
    funlockfile(stdout);
}

}  // namespace

void continueInCopy(int status) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    // The shared signal actions are not for what comes while this process waits.
    sigprocmask(SIG_SETMASK, &all, &before);
    // Its status would be lost where the host ignores this signal. The actions are not shared.
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &action, nullptr);
    const long copy = _Fork();  // unlike fork(), it does not run the host's fork handlers
    if (copy != 0) _exit(copy < 0 ? status : statusOf(copy, status));
    sigprocmask(SIG_SETMASK, &before, nullptr);
    CrashClaim::ownMemory();
    dropBufferedOutput();
}

}  // namespace hcrpt

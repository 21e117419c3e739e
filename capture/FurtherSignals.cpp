#include "capture/FurtherSignals.h"

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "base/FatalSignals.h"
#include "capture/CrashClaim.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt {
namespace {

// Room for the kernel's part on any processor. It costs memory only where it is used.
constexpr std::size_t kStackSize = std::size_t{32} * 1024;  // bytes
alignas(16) char s_stack[kStackSize];

/// Returns true for what the process itself has done: the kernel reports a fault, or abort() sends
/// its signal to the calling thread.
bool isOwn(const siginfo_t& info) {
    return info.si_code > 0 ||
           (info.si_code == SI_TKILL && info.si_pid == static_cast<pid_t>(syscall(SYS_getpid)));
}

void onSignal(int number, siginfo_t* info, void*) {
    // A copy of the process that another thread has made inherits this action, and dies of
    // anything.
    if (CrashClaim::signalOfCrash() != 0 && !isOwn(*info)) return;
    HCrashReporter::HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(number);
}

}  // namespace

void handleFurtherSignals() {
    sigset_t others;
    sigfillset(&others);
    // A host's handler of it stands in for calls that its sandbox forbids.
    sigdelset(&others, SIGSYS);
    // No signal may find half of the actions set.
    pthread_sigmask(SIG_SETMASK, &others, nullptr);

    stack_t stack = {};
    stack.ss_sp = s_stack;
    stack.ss_size = sizeof s_stack;
    syscall(SYS_sigaltstack, &stack, nullptr);
    struct sigaction action = {};
    action.sa_sigaction = &onSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigfillset(&action.sa_mask);
    for (const int number : kFaultSignals) {
        sigaction(number, &action, nullptr);
        sigdelset(&others, number);
    }
    // The kernel blocks the signal that is being handled, and a fault of a blocked kind kills at
    // once: the parent would see a death by signal in place of the promised exit status.
    pthread_sigmask(SIG_SETMASK, &others, nullptr);
}

}  // namespace hcrpt

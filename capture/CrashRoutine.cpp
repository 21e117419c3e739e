// What a dying process does, in order, and what is on disk after each step:
//
//   1. raw trace in the working directory    (on the stack of the signal: StackTraceTxtLog.cpp,
//      frame by frame                         RawTrace.cpp)
//   2. copy of the raw trace in the crash    (from here on the reserved crash stack:
//      store                                  TraceHandOver.cpp)
//   3. readable log, made by the crash reporter while this process waits, copied to the working
//      directory
//   4. JSON report in the crash store        (CrashReport.cpp)
//   5. end with 128 + signal: no exit handlers, no flush, no core
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

constexpr int kExitStatusOfSignal = 128;  // as a shell reports a death by signal

std::atomic<int> s_dyingThread{0};
std::atomic<int> s_firstSignal{0};

// While a signal is handled the kernel blocks it, and a fault of a blocked kind kills at once: the
// parent would see a death by signal in place of the promised exit status.
void unblockFaults() {
    sigset_t faults;
    sigemptyset(&faults);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigaddset(&faults, number);
    pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

}  // namespace

void HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(int sig) {
    const int self = static_cast<int>(syscall(SYS_gettid));
    int nobody = 0;
    if (!s_dyingThread.compare_exchange_strong(nobody, self)) {
        // A fault within this routine ends it: what is on disk by now stays.
        if (nobody == self) std::_Exit(kExitStatusOfSignal + s_firstSignal);
        // Another thread is writing its trace and report and will end the process.
        for (;;) pause();
    }
    s_firstSignal = sig;
    unblockFaults();
    writeStackTraceTxtLog(sig);
    writeCrashReport();
    std::_Exit(kExitStatusOfSignal + sig);
}

}  // namespace HCrashReporter

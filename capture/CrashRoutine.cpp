// What a dying process does on the reserved crash stack, in order, and what is on disk after each
// step:
//
//   1. raw trace in the working directory    (StackTraceTxtLog.cpp, RawTrace.cpp)
//      frame by frame
//   2. copy of the raw trace in the crash    (TraceHandOver.cpp)
//      store
//   3. readable log, made by the crash reporter while this process waits, copied to the working
//      directory
//   4. JSON report in the crash store        (CrashReport.cpp)
//   5. end with 128 + signal: no exit handlers, no flush, no core
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

#include "capture/CrashStack.h"
#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

constexpr int kExitStatusOfSignal = 128;  // as a shell reports a death by signal

/// Which thread dies, and of what.
struct alignas(8) Death {  // else clang calls a library for it
    std::int32_t thread;
    std::int32_t signal;
};
// In one piece, so that a second signal finds both or neither. Thread 0: none dies.
std::atomic<Death> s_death{Death{0, 0}};
static_assert(std::atomic<Death>::is_always_lock_free);

// While a signal is handled the kernel blocks it, and a fault of a blocked kind kills at once: the
// parent would see a death by signal in place of the promised exit status.
void unblockFaults() {
    sigset_t faults;
    sigemptyset(&faults);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigaddset(&faults, number);
    pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
}

void writeRecord(void* signal) {
    HCrptExceptionHandlerBase::writeStackTraceTxtLog(*static_cast<const int*>(signal));
    HCrptExceptionHandlerBase::writeCrashReport();
}

}  // namespace

void HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(int sig) {
    const Death death = {static_cast<std::int32_t>(syscall(SYS_gettid)), sig};
    Death first = {0, 0};
    if (!s_death.compare_exchange_strong(first, death)) {
        // A fault within this routine ends it: what is on disk by now stays.
        if (first.thread == death.thread) std::_Exit(kExitStatusOfSignal + first.signal);
        // Another thread is writing its trace and report and will end the process.
        for (;;) pause();
    }
    unblockFaults();
    // Off the stack of the signal even for the trace: should the walk over a damaged stack fault,
    // the kernel needs the alternate stack anew, and with a large processor state two of its frames
    // leave no room there for a walk between them.
    hcrpt::CrashStack::run(&writeRecord, &sig);
    std::_Exit(kExitStatusOfSignal + sig);
}

}  // namespace HCrashReporter

// What a crashing process does, in order, and what is on disk after each step:
//
//   1. raw trace in the working directory    (on the stack of the signal: StackTraceTxtLog.cpp,
//      frame by frame                         RawTrace.cpp)
//   2. copy of the raw trace in the crash    (from here on the reserved crash stack:
//      store                                  TraceHandOver.cpp)
//   3. stack-trace log, made by the crash reporter while this process waits, copied to the working
//      directory
//   4. JSON report in the crash store        (CrashReport.cpp)
//   5. end with 128 + signal: no exit handlers, no flush, no core
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

#include "capture/SiblingLock.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/ProcessEnd.h"

namespace HCrashReporter {
namespace {

constexpr int kExitStatusOfSignal = 128;  // as a shell reports a death by signal

/// Which thread dies, and of what.
struct alignas(8) Death {  // clang takes no lock only for what is aligned to its size
    std::int32_t thread;
    std::int32_t signal;
};
// In one piece, so that a second signal finds both or neither. Thread 0: none dies.
std::atomic<Death> s_death{Death{0, 0}};
static_assert(std::atomic<Death>::is_always_lock_free);

// While a signal is handled the kernel blocks it, and a fault of a blocked kind kills at once: the
// parent would see a death by signal in place of the promised exit status. What others send to the
// process, an impatient SIGQUIT above all, must not end the crash handler before its report is
// written.
void letFaultsThroughOnly() {
    sigset_t others;
    sigfillset(&others);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) sigdelset(&others, number);
    pthread_sigmask(SIG_SETMASK, &others, nullptr);
}

// What the process may have died of, or has used up by now, is not to cost its report: limits are
// lifted as far as that is free to every process.
void liftLimits() {
    for (const auto resource : {RLIMIT_NOFILE, RLIMIT_FSIZE, RLIMIT_AS, RLIMIT_DATA}) {
        rlimit limit = {};
        if (getrlimit(resource, &limit) != 0) continue;
        limit.rlim_cur = limit.rlim_max;
        setrlimit(resource, &limit);
    }
}

// Longer than the crash handler can take with all its waits. It is for the case that the crashing
// thread itself is held up for ever, by a lost file server for one.
constexpr int kOtherThreadWait = 600;  // seconds

}  // namespace

void HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(int sig) {
    const Death death = {static_cast<std::int32_t>(syscall(SYS_gettid)), sig};
    Death first = {0, 0};
    if (!s_death.compare_exchange_strong(first, death)) {
        // Another thread is writing its trace and report and will end the process.
        if (first.thread != death.thread) HCrashRptUtils::sleep(kOtherThreadWait);
        // A fault within the crash handler ends it: what is on disk by now stays.
        hcrpt::endProcess(kExitStatusOfSignal + first.signal);
    }
    letFaultsThroughOnly();
    liftLimits();
    hcrpt::SiblingLock::acquire();
    hcrpt::Watchdog::enable(kExitStatusOfSignal + sig);
    writeStackTraceTxtLog(sig);
    writeCrashReport();
    hcrpt::endProcess(kExitStatusOfSignal + sig);
}

}  // namespace HCrashReporter

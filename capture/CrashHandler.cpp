// What a crashing process does, in order, and what is on disk after each step:
//
//   0. the interrupted instruction, as a first raw trace in the working directory (FirstTrace.cpp)
//   1. raw trace in the working directory,   (on the crash stack from the first step on:
//      frame by frame                         StackTraceTxtLog.cpp, RawTrace.cpp)
//   2. copy of the raw trace in the crash    (TraceHandOver.cpp)
//      store
//   3. stack-trace log, made by the crash reporter while this process waits, copied to the working
//      directory
//   4. JSON report in the crash store        (CrashReport.cpp)
//   5. end with 128 + signal: no exit handlers, no flush, no core
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/ProcessEnd.h"
#include "capture/CrashClaim.h"
#include "capture/CrashStack.h"
#include "capture/Environment.h"
#include "capture/FirstTrace.h"
#include "capture/FurtherSignals.h"
#include "capture/Interruption.h"
#include "capture/ProcessCopy.h"
#include "capture/SiblingLock.h"
#include "capture/StandardDescriptors.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"

namespace HCrashReporter {
namespace {

namespace CrashClaim = hcrpt::CrashClaim;

constexpr int kExitStatusOfSignal = 128;  // as a shell reports a death by signal

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

// A mask that takes the owner's rights would leave traces and reports that their owner cannot read,
// in directories that nobody can enter. The rights of others stay as the host has them.
void keepOwnersRights() {
    constexpr mode_t kOthers = S_IRWXG | S_IRWXO;
    umask(umask(kOthers) & kOthers);
}

struct Crash {
    int signal = 0;
    hcrpt::Interruption interruption;
};

void handleCrash(void* argument) noexcept {
    const Crash& crash = *static_cast<const Crash*>(argument);
    const int sig = crash.signal;
    // Before any call that a sandbox may forbid. The file is a sibling's while that crashes.
    if (hcrpt::SiblingLock::tryAcquire()) hcrpt::FirstTrace::write(sig, crash.interruption);
    hcrpt::handleFurtherSignals();
    liftLimits();
    keepOwnersRights();
    hcrpt::Environment::restoreIfLost();
    hcrpt::occupyStandardDescriptors();
    hcrpt::SiblingLock::acquire();
    hcrpt::Watchdog::enable(kExitStatusOfSignal + sig);
    hcrpt::Watchdog::set(hcrpt::Watchdog::kRawTrace);
    HCrptExceptionHandlerBase::writeStackTraceTxtLog(sig);
    HCrptExceptionHandlerBase::writeCrashReport();
    hcrpt::endProcess(kExitStatusOfSignal + sig);
}

}  // namespace

// Runs on the interrupted stack, or on the alternate one, of which nearly nothing may be left.
void HCrptLinuxExceptionHandler::crptDefaultLinuxHandler(int sig) {
    if (CrashClaim::isMemoryBorrowed()) {
        // A child that walks over the stack for the crash handler, or one that starts a tool.
        if (CrashClaim::doesOwnerCrash()) _exit(kExitStatusOfSignal + sig);
        hcrpt::continueInCopy(kExitStatusOfSignal + sig);
    }
    // A cancellation that is pending would unwind the thread at its first output, and the host
    // would live on.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    switch (CrashClaim::claim(sig)) {
        case CrashClaim::Claim::taken: {
            Crash crash = {sig, {}};
            hcrpt::interruptionOfHandler(static_cast<void**>(__builtin_frame_address(0)),
                                         crash.interruption);
            hcrpt::CrashStack::enter(&handleCrash, &crash);
            break;
        }
        case CrashClaim::Claim::otherThread:
            // It is writing its trace and report, and will end the process.
            CrashClaim::awaitEnd();
            break;
        case CrashClaim::Claim::withinHandler:
            break;  // what is on disk by now stays
    }
    hcrpt::endProcess(kExitStatusOfSignal + CrashClaim::signalOfCrash());
}

}  // namespace HCrashReporter

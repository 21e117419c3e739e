#include "HUTEnv.h"
#include "facts/ProcessFacts.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "store/SessionPaths.h"

namespace HCrashReporter {

void leaveProcessFacts() {
    // A report without them still tells of the crash, so a host hears nothing of what goes wrong.
    try {
        static_cast<void>(hcrpt::writeFacts(
            hcrpt::factsPath(HUTEnv::getHostName(), std::to_string(HUTEnv::getPid())),
            hcrpt::factsOfThisProcess()));
    } catch (...) {
    }
}

}  // namespace HCrashReporter

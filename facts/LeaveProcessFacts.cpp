#include <unistd.h>

#include <string>

#include "HUTEnv.h"
#include "facts/ProcessFacts.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "store/SessionPaths.h"

namespace HCrashReporter {

void leaveProcessFacts() {
    // A report without them still tells of the crash, so a host hears nothing of what goes wrong.
    try {
        const std::string path =
            hcrpt::factsPath(HUTEnv::getHostName(), std::to_string(HUTEnv::getPid()));
        // An earlier process's facts would make this one count as ended.
        if (!hcrpt::writeFacts(path, hcrpt::factsOfThisProcess())) unlink(path.c_str());
    } catch (...) {
    }
}

}  // namespace HCrashReporter

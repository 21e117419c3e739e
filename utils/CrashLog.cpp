#include "HUTEnv.h"
#include "hcrpt/HCrashRptUtils.h"
#include "store/SessionPaths.h"
#include "utils/Message.h"

namespace HCrashRptUtils {

bool redirectedStdOut = false;

void redirectStdoutToCrashLog() {
    if (redirectedStdOut) return;
    const std::string pid = std::to_string(HUTEnv::getPid());
    hcrpt::redirectStandardOutput(hcrpt::reporterLogPath(pid));
    // Set even when the log could not be opened: the redirection is tried once in a process, and
    // the messages stay on the console then.
    redirectedStdOut = true;
    hcrpt::logInfo("Started with processId = " + pid + ", at dir = '" + HUTEnv::getPWD() +
                   "', at time = " + timestamp());
}

void closeCrashLogFile() {
    // The flag stays set: the redirection is never made twice in one process.
    if (redirectedStdOut) hcrpt::closeStandardOutput();
}

}  // namespace HCrashRptUtils

// The host's side of starting the crash reporter, and the reporter's own handlers.
#include <vector>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"

namespace HCrashReporter {

bool isEnabled(const std::string& product) {
    return HCrashRptSettings::isCrashReporterEnabled(product);
}

bool launchCrashReporter() {
    const std::string path = HCrashRptSettings::getAppPath(HCrashRptSettings::getCrptAppName());
    if (!isEnabled("")) return false;
    if (HCrashRptSettings::isCrptAlreadyRunning() || path.empty()) return false;
    // Contract: the list lacks even the program's name: the crash reporter uses no argument.
    std::vector<std::string> noArguments;
    const bool launched = HCrashRptUtils::forkNewProcess(path, noArguments);
    // Only now: the flag is for this process and what it starts later, and a failed fork may be
    // tried again.
    if (launched) HCrashRptSettings::setCrptAlreadyRunning();
    return launched;
}

void installSelfSignalHandler() {
    HCrptExceptionMgr::get()->registerSelfSignalHandlers();
}

}  // namespace HCrashReporter

#include <signal.h>

#include <cstdio>

#include "base/ProcessEnd.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace HCrashReporter {

HCrptSelfLinuxExceptionHandler::HCrptSelfLinuxExceptionHandler()
    : m_selfSignalHandler(&HCrptSelfLinuxExceptionHandler::crptSelfLinuxSignalHandler) {}

HCrptSelfLinuxExceptionHandler::~HCrptSelfLinuxExceptionHandler() = default;

bool HCrptSelfLinuxExceptionHandler::install() {
    // Contract: installs the inherited crash handler: a crash of the crash reporter is reported
    // like any other, and the waiting reports stay. m_selfSignalHandler, which would delete them,
    // is never installed.
    const bool installed = HCrptLinuxExceptionHandler::install();
    signal(SIGINT, SIG_IGN);
    return installed;
}

void HCrptSelfLinuxExceptionHandler::crptSelfLinuxSignalHandler(int sig) {
    hcrpt::logInfo("Closed Unexpectedly! Deleting crash store...");
    HCrashRptUtils::deleteCrashStore();
    std::fflush(stdout);
    hcrpt::endProcess(128 + sig);
}

}  // namespace HCrashReporter

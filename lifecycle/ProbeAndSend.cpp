// One pass of the crash reporter over the reports that wait.
#include <csignal>
#include <vector>

#include "HUTFile.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptTransmit.h"
#include "hcrpt/HCrashRptUtils.h"
#include "lifecycle/SendPass.h"
#include "utils/Message.h"

namespace {

/// Set by a signal handler, never reset.
volatile std::sig_atomic_t s_stopRequested = 0;

}  // namespace

namespace hcrpt {

bool decideOnConsent(const SendPassSources& sources, HCrashRptSettings::ConsentType& consent,
                     HCrashRptSettings::RptBackupStatus& status) {
    if (consent == HCrashRptSettings::CONSENT_NOT_ASKED) consent = sources.consent();
    if (consent == HCrashRptSettings::CONSENT_REFUSED) return false;
    if (consent == HCrashRptSettings::CONSENT_LATER) status = HCrashRptSettings::SEND_LATER;
    return true;
}

bool makeSendPass(const SendPassSources& sources) {
    using HCrashReporter::consentType;
    const std::vector<std::string> reports = sources.waitingReports();
    if (reports.empty()) return true;
    auto status = HCrashRptSettings::SEND_SUCCESS;
    if (!decideOnConsent(sources, consentType, status)) return false;

    int sent = 0;
    for (const std::string& report : reports) {
        if (s_stopRequested != 0) break;
        if (HCrashRptUtils::handleIfEmptyFile(report)) continue;
        if (consentType != HCrashRptSettings::CONSENT_GIVEN) {
            logInfo("Crash report is not transmitted as no consent to send received.");
            HCrashRptUtils::moveFileToBackupStore(report, status);
            continue;
        }
        if (!HCrashRptFileTransmitMgr::uploadToServer(report)) {
            // Contract: the status holds for the rest of this pass: reports sent after a failure
            // are filed as failures, too. The next pass starts afresh.
            status = HCrashRptSettings::SEND_FAIL;
            HCrashRptUtils::moveFileToBackupStore(report, status);
            continue;
        }
        logInfo("Velcurl send success");
        HCrashRptUtils::moveFileToBackupStore(report, status);
        // A report that is still there would be sent again in the next pass.
        HUTFile(report).rm();
        ++sent;
        const int limit = sources.sendLimit();
        if (sent >= limit) {
            logInfo("Crash report send limit of " + std::to_string(limit) + " files reached.");
            break;
        }
    }
    return true;
}

}  // namespace hcrpt

namespace HCrashReporter {

HCrashRptSettings::ConsentType consentType = HCrashRptSettings::CONSENT_NOT_ASKED;

void stopAfterThisReport() {
    s_stopRequested = 1;
}

bool getConsentAndBackupStatus(HCrashRptSettings::ConsentType& consent,
                               HCrashRptSettings::RptBackupStatus& status) {
    return hcrpt::decideOnConsent({}, consent, status);
}

bool probeAndSendCrashReports() {
    return hcrpt::makeSendPass({});
}

bool hasCrashReports() {
    return !HCrashReportMgr::probeAndGetCrashReports().empty();
}

}  // namespace HCrashReporter

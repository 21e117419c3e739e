/// @file
/// What one pass over the waiting reports asks other folders for.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptSettings.h"

namespace hcrpt {

/// Made as it stands, it asks the real ones.
struct SendPassSources {
    std::function<std::vector<std::string>()> waitingReports =
        HCrashReportMgr::probeAndGetCrashReports;
    std::function<HCrashRptSettings::ConsentType()> consent =
        HCrashRptConsentForm::getCustomerConsent;
    std::function<int()> sendLimit = HCrashRptSettings::getMaxRptsToSend;
};

/// See HCrashReporter::getConsentAndBackupStatus().
bool decideOnConsent(const SendPassSources& sources, HCrashRptSettings::ConsentType& consent,
                     HCrashRptSettings::RptBackupStatus& status);

/// See HCrashReporter::probeAndSendCrashReports().
bool makeSendPass(const SendPassSources& sources);

}  // namespace hcrpt

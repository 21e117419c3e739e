#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"

namespace HCrashReportMgr {

std::vector<std::string> CompleteCrashReportHandler::getReportsInCrashStore() {
    return HCrashRptUtils::getFilesWithPrefix(HCrashRptSettings::getCrashRptPrefix(),
                                              HCrashRptSettings::getCrashStorePath());
}

}  // namespace HCrashReportMgr

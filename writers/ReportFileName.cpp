#include "writers/ReportFileName.h"

#include "HUTEnv.h"
#include "hcrpt/HCrashRptUtils.h"

namespace hcrpt {

std::string reportFileName(const std::string& extension) {
    std::string stamp;
    HUTEnv::getTimeStamp(stamp);
    return "CrashReport_" + std::to_string(HUTEnv::getPid()) + "_" + HUTEnv::getHostName() + "_" +
           HUTEnv::getUserName() + "_" + HCrashRptUtils::deleteBlanks(stamp) + extension;
}

}  // namespace hcrpt

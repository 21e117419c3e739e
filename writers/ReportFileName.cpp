#include "writers/ReportFileName.h"

#include "HUTEnv.h"
#include "hcrpt/HCrashRptUtils.h"

namespace hcrpt {

std::string reportFileName(const std::string& extension) {
    std::string stamp;
    HUTEnv::getTimeStamp(stamp);
    return reportFileName(
        {std::to_string(HUTEnv::getPid()), HUTEnv::getHostName(), HUTEnv::getUserName(), stamp},
        extension);
}

std::string reportFileName(const ReportOrigin& origin, const std::string& extension) {
    return "CrashReport_" + origin.processId + "_" + origin.hostName + "_" + origin.userName + "_" +
           HCrashRptUtils::deleteBlanks(origin.timeStamp) + extension;
}

}  // namespace hcrpt

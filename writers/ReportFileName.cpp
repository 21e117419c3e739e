#include "writers/ReportFileName.h"

#include "HUTEnv.h"
#include "hcrpt/HCrashRptUtils.h"
#include "store/ReportName.h"

namespace hcrpt {

std::string reportFileName(const std::string& extension) {
    std::string stamp;
    HUTEnv::getTimeStamp(stamp);
    return reportFileName({std::to_string(HUTEnv::getPid()), HUTEnv::getHostName(),
                           HUTEnv::getUserName(), HCrashRptUtils::deleteBlanks(stamp)},
                          extension);
}

}  // namespace hcrpt

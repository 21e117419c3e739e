#include "store/ReportName.h"

#include "settings/FileNames.h"

namespace hcrpt {

std::string reportFileName(const ReportOrigin& origin, const std::string& extension) {
    return reportNamePrefix(origin.processId, origin.hostName) + origin.userName + "_" +
           origin.timeStamp + extension;
}

std::string reportNamePrefix(const std::string& processId, const std::string& hostName) {
    return kReportPrefix + processId + "_" + hostName + "_";
}

bool namesHost(const std::string& reportName, const std::string& hostName) {
    return reportName.find("_" + hostName + "_") != std::string::npos;
}

bool namesTime(const std::string& reportName, const std::string& timeStamp) {
    return reportName.find("_" + timeStamp + kReportExtension) != std::string::npos;
}

std::string reportTimeStamp(std::time_t time) {
    tzset();
    std::tm local = {};
    localtime_r(&time, &local);
    char text[] = "YYYYmmddTHHMMSS";
    std::strftime(text, sizeof text, "%Y%m%dT%H%M%S", &local);
    return text;
}

}  // namespace hcrpt

/// @file
/// Names of report files: "CrashReport_<process id>_<host>_<user>_<time stamp>" and an extension.
#pragma once

#include <ctime>
#include <string>

namespace hcrpt {

/// Whose crash a report tells of, and when it was.
struct ReportOrigin {
    std::string processId;
    std::string hostName;   ///< used as it is
    std::string userName;   ///< used as it is
    std::string timeStamp;  ///< without blanks
};

/// @param extension with its full stop. @crashtime
std::string reportFileName(const ReportOrigin& origin, const std::string& extension);

/// With this begins the name of every report of that process of that machine.
std::string reportNamePrefix(const std::string& processId, const std::string& hostName);
/// Returns true when a report's name holds that host, or a user name that looks like it.
bool namesHost(const std::string& reportName, const std::string& hostName);
/// Returns true when a report's name, an outcome behind it or not, ends in that time stamp.
bool namesTime(const std::string& reportName, const std::string& timeStamp);

/// Time stamp of a recovered report: local time, "YYYYmmddTHHMMSS".
std::string reportTimeStamp(std::time_t time);

}  // namespace hcrpt

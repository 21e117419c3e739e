/// @file
/// The name that every report file goes by, whatever its format.
#pragma once

#include <string>

namespace hcrpt {

/// "CrashReport_", id of this process, "_", host name, "_", user name, "_", time stamp without
/// spaces, and the extension, such as ".json". Host and user names are used as they are.
/// The crash reporter finds reports by the name's beginning. @crashtime
std::string reportFileName(const std::string& extension);

/// Whose crash a report tells of, and when it was.
struct ReportOrigin {
    std::string processId;
    std::string hostName;
    std::string userName;
    std::string timeStamp;
};

/// The same name for the crash of another process.
std::string reportFileName(const ReportOrigin& origin, const std::string& extension);

}  // namespace hcrpt

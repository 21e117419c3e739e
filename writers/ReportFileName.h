/// @file
/// The name of this process's own report.
#pragma once

#include <string>

namespace hcrpt {

/// "CrashReport_", id of this process, "_", host name, "_", user name, "_", time stamp without
/// spaces, and the extension, such as ".json". Host and user names are used as they are.
/// The crash reporter finds reports by the name's beginning. @crashtime
std::string reportFileName(const std::string& extension);

}  // namespace hcrpt

/// @file
/// The name of this process's own report.
#pragma once

#include <string>

namespace hcrpt {

/// Returns "CrashReport_", id of this process, "_", host name, "_", user name, "_", time stamp
/// without spaces, and the extension, such as ".json". Host and user names stay unchanged. The
/// crash reporter finds reports by the beginning of the name. @crashtime
std::string reportFileName(const std::string& extension);

}  // namespace hcrpt

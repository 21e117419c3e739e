/// @file
/// Where hosts leave the texts of their user interface.
#pragma once

#include <string>

namespace hcrpt {

/// The dump of any process of this session; HCrashRptSettings::getGuiStrDumpFileName() is that of
/// the calling one. @crashtime
std::string guiStrDumpPath(std::string product, const std::string& processId);

}  // namespace hcrpt

/// @file
/// The file into which hosts write the texts of their user interface.
#pragma once

#include <string>

namespace hcrpt {

/// Returns the path of the dump of any process of this session.
/// HCrashRptSettings::getGuiStrDumpFileName() returns that of the calling process. @crashtime
std::string guiStrDumpPath(std::string product, const std::string& processId);

}  // namespace hcrpt

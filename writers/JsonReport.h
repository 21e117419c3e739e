/// @file
/// Writes a JSON report at any path.
#pragma once

#include <string>

#include "hcrpt/HCrashRptMetaData.h"

namespace hcrpt {

/// Does the same as HCrashRptJsonWriter::writeJsonRpt(), for a file of any name. @crashtime
/// @return false when the file cannot be created; true even when a write fails
[[nodiscard]] bool writeJsonReport(const std::string& path,
                                   const HCrashRptMetaData::Manager& manager);

}  // namespace hcrpt

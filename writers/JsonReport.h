/// @file
/// A JSON report at a place of the caller's choice.
#pragma once

#include <string>

#include "hcrpt/HCrashRptMetaData.h"

namespace hcrpt {

/// What HCrashRptJsonWriter::writeJsonRpt() does, for a file of any name. @crashtime
/// @return false when the file cannot be made; true also when a write fails.
[[nodiscard]] bool writeJsonReport(const std::string& path,
                                   const HCrashRptMetaData::Manager& manager);

}  // namespace hcrpt

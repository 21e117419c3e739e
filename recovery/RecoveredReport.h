/// @file
/// The report of a process that has ended.
#pragma once

#include <string>

#include "store/RawTraces.h"

namespace hcrpt {

/// Path of the report in the crash store.
std::string reportPath(const RawTrace& trace);

/// Puts the report together from the stack-trace log, the facts that the process has left and this
/// machine's, and writes it. Nodes of the report stay in the crash-time arena.
/// @return true when the report is in its place.
[[nodiscard]] bool writeRecoveredReport(const RawTrace& trace, const std::string& path);

}  // namespace hcrpt

/// @file
/// The report of a process that has ended.
#pragma once

#include <string>

#include "recovery/RawTraces.h"

namespace hcrpt {

/// The one item that the process's own report does not have.
constexpr char kWrittenByKey[] = "writtenBy";
constexpr char kWrittenBy[] = "crash reporter, after the process had ended";

/// Path of the report in the crash store.
std::string reportPath(const RawTrace& trace);

/// Puts the report together from the stack-trace log, the facts that the process has left and this
/// machine's, and writes it. Nodes of the report stay in the crash-time arena.
/// @return whether it is there.
bool writeRecoveredReport(const RawTrace& trace, const std::string& path);

}  // namespace hcrpt

/// @file
/// How a recovered report is told from a process's own.
#pragma once

namespace hcrpt {

/// The one item that a process's own report does not have.
inline constexpr char kWrittenByKey[] = "writtenBy";
inline constexpr char kWrittenBy[] = "crash reporter, after the process had ended";

}  // namespace hcrpt

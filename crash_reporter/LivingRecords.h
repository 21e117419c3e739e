/// @file
/// Records of registered processes that still run.
#pragma once

#include "crash_reporter/Registrations.h"

namespace crash_reporter {

/// The records whose process belongs to this machine and runs.
[[nodiscard]] Records livingOf(const Records& records);

/// Appends the records that the registration file lacks.
/// @return false when the file cannot be written now: try again later.
[[nodiscard]] bool registerAgain(Records records);

}  // namespace crash_reporter

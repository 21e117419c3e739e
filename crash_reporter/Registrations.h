/// @file
/// The registration file, as the crash reporter repairs it.
#pragma once

#include "store/Records.h"

namespace crash_reporter {

using hcrpt::localProcess;
using hcrpt::Records;
using hcrpt::recordsIn;

/// Appends records to the registration file under its lock, as hosts do.
/// @return false when the file cannot be opened or a host holds the lock: try again later.
[[nodiscard]] bool appendRecords(const Records& records);

}  // namespace crash_reporter

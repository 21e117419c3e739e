/// @file
/// Records of the registration file, as the crash reporter reads and repairs them.
#pragma once

#include <optional>
#include <set>
#include <string>

namespace crash_reporter {

/// "<host>:<pid>"
using Records = std::set<std::string>;

/// All records of a file; none when it cannot be read.
[[nodiscard]] Records recordsIn(const std::string& path);
/// All records of an open file, from its start.
[[nodiscard]] Records recordsIn(int fd);

/// @return the process id of a record of this machine; nothing for a record of another machine, or
/// whose process id is no number.
[[nodiscard]] std::optional<std::string> localProcess(const std::string& record);

/// Appends records to the registration file under its lock, as hosts do.
/// @return false when the file cannot be opened or a host holds the lock: try again later.
[[nodiscard]] bool appendRecords(const Records& records);

}  // namespace crash_reporter

/// @file
/// Records of the registration file.
#pragma once

#include <optional>
#include <set>
#include <string>

namespace hcrpt {

/// "<host>:<process id>"
using Records = std::set<std::string>;

/// The record of a process, without a line feed.
std::string recordOf(const std::string& hostName, const std::string& processId);

/// All records of a file; none when it cannot be read.
[[nodiscard]] Records recordsIn(const std::string& path);
/// All records of an open file, from its start.
[[nodiscard]] Records recordsIn(int fd);

/// Process id of a record of this machine; nothing for a record of another machine and for one
/// whose process id is no number.
[[nodiscard]] std::optional<std::string> localProcess(const std::string& record);

}  // namespace hcrpt

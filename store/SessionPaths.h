/// @file
/// Paths of files in a session's directories.
#pragma once

#include <string>

namespace hcrpt {

/// Path of a file of that name in the crash store.
std::string pathInCrashStore(const std::string& fileName);
/// Path of a file of that name in the session directory.
std::string pathInSessionDirectory(const std::string& fileName);

/// The log of the crash reporter with that process id.
std::string reporterLogPath(const std::string& processId);

/// Path of the facts of a process, in the crash store.
std::string factsPath(const std::string& hostName, const std::string& processId);
/// The names of the facts of all processes of that machine begin so; the process id follows.
std::string factsNamePrefix(const std::string& hostName);

}  // namespace hcrpt

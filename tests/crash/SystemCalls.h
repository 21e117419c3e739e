/// @file
/// In which ways the system calls of the crash path can fail.
#pragma once

#include <string>
#include <vector>

#include "crash/SystemCallTrace.h"

namespace crash_test {

/// "openat"; empty for a call that nobody has looked at yet.
std::string nameOfCall(const Call& call);

/// "ENOSPC", "short".
std::string nameOfFault(const Fault& fault);

/// The failures that the system documents for this call: EINTR, ENOSPC, EACCES and EMFILE where
/// they are possible, another error where none of them is, and a result of half of the bytes. Empty
/// for calls that cannot fail.
std::vector<Fault> possibleFaults(const std::vector<Call>& calls, std::size_t index);

}  // namespace crash_test

/// @file
/// Where and how long a process id means the same process.
#pragma once

#include <string>

namespace hcrpt {

/// Identifies the present boot of this machine; empty when the kernel does not tell. @ordinary
std::string bootId();

/// Identifies the pid namespace of this process; empty when the kernel does not tell. @ordinary
std::string pidNamespace();

}  // namespace hcrpt

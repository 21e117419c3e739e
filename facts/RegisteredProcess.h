/// @file
/// Tells running registered processes from others with their ids.
#pragma once

#include <string>

namespace hcrpt {

/// Tells whether the process that wrote a record "<host>:<process id>" of the registration file
/// still runs on this machine. A process id alone does not tell: after a restart of the machine and
/// in another pid namespace it belongs to another process, and ids are used again. So the boot, the
/// namespace and the start time that the process has left with its facts are compared with those of
/// the process that has the id now. Without facts the id alone decides. Silent. @ordinary
/// @return false for a record of another machine and for one without a process id.
[[nodiscard]] bool isStillRunning(const std::string& record);

}  // namespace hcrpt

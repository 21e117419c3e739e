/// @file
/// What an earlier process with this process's id has left in the crash store.
#pragma once

namespace hcrpt {

/// Removes the raw trace and the stack-trace log that lie in the crash store under this process's
/// id, so that this process does not take that log for its own when it crashes. Only files that are
/// older than this process by more than a minute are removed, and only once the report of that
/// crash is there. The working directory is left alone. Silent. Grade: @ordinary.
void removeTracesOfEarlierProcess() noexcept;

}  // namespace hcrpt

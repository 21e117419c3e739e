/// @file
/// Tells a process from a later one with the same id.
#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace hcrpt {

/// What the kernel tells about a process.
struct ProcessState {
    bool isOver = false;    ///< it has ended and waits to be reaped
    std::string startTime;  ///< clock ticks since the machine started, in digits
};

/// From the text of /proc/<pid>/stat. Nothing when the text is not complete.
std::optional<ProcessState> parseProcessState(const std::string& stat);

/// Nothing when there is no such process. @param processId digits
std::optional<ProcessState> processState(const std::string& processId);

/// Start of a process as wall-clock time, to some milliseconds.
/// @return nothing when the text is no number.
std::optional<std::timespec> wallClockStart(const std::string& startTime);

/// Returns true when a file of that age was written by another process than the one that has the
/// process id now: that one started more than a minute later. The minute allows for a clock that
/// is adjusted. False when there is no such process.
bool isOfEarlierProcess(const std::timespec& written, const std::string& processId);

}  // namespace hcrpt

/// @file
/// Tells whether a trace file is still the one that was met before.
#pragma once

#include <sys/stat.h>

#include <ctime>
#include <optional>
#include <string>

namespace hcrpt {

/// Identity and state of a raw trace or a stack-trace log. It differs after each change or
/// replacement of the file, unless the file is changed twice within a tick of the file system's
/// clock; see isSettled.
struct TraceIdentity {
    explicit TraceIdentity(const struct stat& status);
    /// Follows a symbolic link. @return nothing when there is no such file.
    [[nodiscard]] static std::optional<TraceIdentity> of(const std::string& path);

    /// Compares all but isSettled.
    bool operator==(const TraceIdentity& other) const;
    bool operator!=(const TraceIdentity& other) const { return !(*this == other); }

    dev_t device;
    ino_t inode;
    off_t size;              ///< bytes
    std::timespec modified;  ///< last change of the content
    std::timespec changed;   ///< last change of content, rights or name
    /// True when the last change was so long ago that any later one shows in the times. The one
    /// waiting time of everybody who remembers traces.
    bool isSettled;
};

bool isBefore(const std::timespec& one, const std::timespec& other);

}  // namespace hcrpt

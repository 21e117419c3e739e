/// @file
/// Tells whether a path belongs to this user alone.
#pragma once

#include <optional>
#include <string>

namespace crash_reporter {

enum class PathKind { directory, file };

/// The state of a path.
struct Finding {
    bool missing = false;     ///< there is nothing of that name
    bool otherKind = false;   ///< a file in the place of a directory, or the other way round
    bool restricted = false;  ///< others had rights to it, which were taken away
    std::optional<std::string> objection;  ///< why it must not be used, in words
};

/// Inspects a directory or file without following a symbolic link in its last component. Such a
/// link, and a place that belongs to another user, is objected to. Takes others' rights to a place
/// of this user away.
[[nodiscard]] Finding inspectPath(const std::string& path, PathKind kind);

}  // namespace crash_reporter

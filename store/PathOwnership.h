/// @file
/// Tells whether a path belongs to this user alone.
#pragma once

#include <optional>
#include <string>

namespace hcrpt {

enum class PathKind { directory, file };

/// What was found out about a path.
struct Finding {
    bool missing = false;     ///< there is nothing of that name
    bool otherKind = false;   ///< a file in the place of a directory, or the other way round
    bool restricted = false;  ///< others had rights to it, which were taken away
    std::optional<std::string> objection;  ///< why it must not be used, in words
};

/// Inspects a directory or file without following a symbolic link in its last component. Objects to
/// a symbolic link and to what belongs to another user. Takes others' rights away from what belongs
/// to this user.
[[nodiscard]] Finding inspectPath(const std::string& path, PathKind kind);

}  // namespace hcrpt

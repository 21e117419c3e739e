/// @file
/// Whether a place belongs to this user alone.
#pragma once

#include <string>

namespace crash_reporter {

enum class PathKind { directory, file };

/// What was found out about a place.
struct Finding {
    bool missing = false;     ///< there is nothing of that name
    bool otherKind = false;   ///< a file in the place of a directory, or the other way round
    bool restricted = false;  ///< others had rights to it, which were taken away
    std::string objection;    ///< why it must not be used, in words; empty when it may
};

/// Looks at a directory or file without following a symbolic link in its last component. One that
/// is such a link, or belongs to another user, is objected to. Others' rights to one of this user
/// are taken away.
Finding inspectPath(const std::string& path, PathKind kind);

}  // namespace crash_reporter

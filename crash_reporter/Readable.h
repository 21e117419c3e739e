/// @file
/// Tells whether a descriptor is readable.
#pragma once

#include <poll.h>

namespace crash_reporter {

/// Returns true when read() would return at once, with data or end of file.
[[nodiscard]] inline bool isReadable(int fd) {
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, 0) > 0;
}

}  // namespace crash_reporter

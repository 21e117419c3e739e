/// @file
/// A look at a descriptor.
#pragma once

#include <poll.h>

namespace crash_reporter {

/// Whether there is something to read from it now, be it its end.
inline bool isReadable(int fd) {
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, 0) > 0;
}

}  // namespace crash_reporter

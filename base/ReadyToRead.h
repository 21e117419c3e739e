/// @file
/// Tells whether reading from a descriptor would wait.
#pragma once

#include <poll.h>

namespace hcrpt {

/// Returns true when read() would return at once, with data, end of file or an error. A process
/// descriptor is ready when its process has ended. Does not wait. @signalsafe
[[nodiscard]] inline bool isReadyToRead(int fd) {
    pollfd wait = {fd, POLLIN, 0};
    return poll(&wait, 1, 0) > 0;
}

}  // namespace hcrpt

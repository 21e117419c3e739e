// Runs on the 8 KiB alternate stack: small frames, no heap, no strings.
#include "base/WriteAll.h"

#include <unistd.h>

#include <cerrno>

namespace hcrpt {

bool writeAll(int fd, const char* data, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(fd, data, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;  // a zero-length write would loop forever
        data += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

}  // namespace hcrpt

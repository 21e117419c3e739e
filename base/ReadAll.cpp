// Runs on the 8 KiB alternate stack: small frames, no heap, no strings.
#include "base/ReadAll.h"

#include <unistd.h>

#include <cerrno>

namespace hcrpt {

ssize_t readSome(int fd, char* data, std::size_t length) {
    ssize_t got = -1;
    do got = read(fd, data, length);
    while (got < 0 && errno == EINTR);
    return got;
}

std::size_t readAll(int fd, char* data, std::size_t length) {
    std::size_t got = 0;
    while (got < length) {
        const ssize_t more = readSome(fd, data + got, length - got);
        if (more <= 0) break;
        got += static_cast<std::size_t>(more);
    }
    return got;
}

}  // namespace hcrpt

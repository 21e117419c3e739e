#include "capture/CrashOutput.h"

#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace hcrpt {

bool writeAll(int fd, const char* data, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(fd, data, length);
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += written;
        length -= static_cast<std::size_t>(written);
    }
    return true;
}

namespace {

constexpr int kReaderPatience = 1000;  // milliseconds

// Whether a write would be taken: a pipe that is full because nobody reads it any more would hold
// up the dying process for ever. Poll promises room for as much as stdio's buffer for a pipe holds.
bool takesOutput(int fd) {
    if (fd < 0) return false;
    pollfd output = {fd, POLLOUT, 0};
    return poll(&output, 1, kReaderPatience) == 1 && (output.revents & POLLOUT) != 0;
}

void writePatiently(int fd, const char* text, std::size_t length) {
    if (takesOutput(fd)) writeAll(fd, text, length);
}

}  // namespace

void putStdout(const char* text, std::size_t length) {
    // Where stdout is closed its descriptor is -1: number 1 may be another file's by now.
    const int fd = fileno_unlocked(stdout);
    if (ftrylockfile(stdout) != 0) {
        writePatiently(fd, text, length);
        return;
    }
    // Without a buffer nothing is waiting in it, so the order is kept; and stdio would take the
    // buffer from the heap.
    if (__fbufsize(stdout) == 0) writePatiently(fd, text, length);
    // Also where the text would fit into the buffer: stdio may choose to write that out first.
    else if (takesOutput(fd))
        fwrite_unlocked(text, 1, length, stdout);
    funlockfile(stdout);
}

void putStdout(const char* text) {
    putStdout(text, std::strlen(text));
}

void flushStdout() {
    if (ftrylockfile(stdout) != 0) return;
    if (__fpending(stdout) > 0 && takesOutput(fileno_unlocked(stdout))) fflush_unlocked(stdout);
    funlockfile(stdout);
}

}  // namespace hcrpt

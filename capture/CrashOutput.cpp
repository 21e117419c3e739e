#include "capture/CrashOutput.h"

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

void putStdout(const char* text, std::size_t length) {
    // Where stdout is closed its descriptor is -1: number 1 may be another file's by now.
    if (ftrylockfile(stdout) != 0) {
        writeAll(fileno_unlocked(stdout), text, length);
        return;
    }
    // Without a buffer nothing is waiting in it, so the order is kept; and stdio would take the
    // buffer from the heap.
    if (__fbufsize(stdout) == 0)
        writeAll(fileno_unlocked(stdout), text, length);
    else
        fwrite_unlocked(text, 1, length, stdout);
    funlockfile(stdout);
}

void putStdout(const char* text) {
    putStdout(text, std::strlen(text));
}

void flushStdout() {
    if (ftrylockfile(stdout) != 0) return;
    fflush_unlocked(stdout);
    funlockfile(stdout);
}

}  // namespace hcrpt

#include "capture/CrashOutput.h"

#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/WriteAll.h"
#include "utils/StdioOutput.h"

namespace hcrpt {
namespace {

constexpr int kReaderPatience = 1000;  // milliseconds

// Returns true when a write would not wait. A pipe that is full because nobody reads it any more
// would hold the crashing process forever. Poll promises room for as much as stdio's buffer for a
// pipe holds.
bool takesOutput(int fd) {
    if (fd < 0) return false;
    pollfd output = {fd, POLLOUT, 0};
    return TEMP_FAILURE_RETRY(poll(&output, 1, kReaderPatience)) == 1 &&
           (output.revents & POLLOUT) != 0;
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
    if (takesOutput(fd)) putText(stdout, text, length);
    funlockfile(stdout);
}

void putStdout(const char* text) {
    putStdout(text, std::strlen(text));
}

void flushStdout() {
    if (ftrylockfile(stdout) != 0) return;
    if (__fpending(stdout) > 0 && takesOutput(fileno_unlocked(stdout))) flushText(stdout);
    funlockfile(stdout);
}

}  // namespace hcrpt

// Runs on the 8 KiB alternate stack: small frames, no heap, no stdio, no strings.
#include "capture/RawTrace.h"

#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "capture/CrashOutput.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt {

using HCrashReporter::kBacktraceDepth;
using HCrashReporter::partialStackTraceMsg;
using HCrashReporter::s_btArray;

void writeRawTrace(int fd) {
    const off_t start = lseek(fd, 0, SEEK_CUR);
    writeAll(fd, partialStackTraceMsg, std::strlen(partialStackTraceMsg));
    fsync(fd);

    // One frame deeper each time: where the stack is damaged the walk itself may fault, and then
    // the notice and all frames up to there are on disk.
    int found = 0;
    for (int depth = 1; depth < static_cast<int>(kBacktraceDepth); ++depth) {
        const int count = backtrace(s_btArray, depth);
        if (depth > count) break;
        found = count;
        backtrace_symbols_fd(s_btArray + depth - 1, 1, fd);
        fsync(fd);
    }

    // The walk came to its end, so the trace is not partial.
    if (ftruncate(fd, start) == 0) lseek(fd, start, SEEK_SET);
    backtrace_symbols_fd(s_btArray, found, fd);
    fsync(fd);
}

void primeRawTrace() {
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int count = backtrace(s_btArray, static_cast<int>(kBacktraceDepth));
    if (fd < 0) return;
    backtrace_symbols_fd(s_btArray, count, fd);
    close(fd);
}

}  // namespace hcrpt

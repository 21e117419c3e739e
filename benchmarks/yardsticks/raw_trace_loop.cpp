// The bare loop behind a raw trace: for each frame an unwind that goes one frame deeper, one line
// and one fsync; then all lines at once. It has no signal, no handler and no checks.
//
//   raw_trace_loop DEPTH FILE     calls itself so deep, then writes the trace into the file
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "benchmarks/programs/Deep.h"
#include "benchmarks/support/Mark.h"

namespace {

constexpr int kMaxFrames = 200;
void* s_frames[kMaxFrames];
const char* s_path = nullptr;

void takeTrace() {
    bench::markNow();
    const int fd = open(s_path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    int found = 0;
    for (int depth = 1; depth < kMaxFrames; ++depth) {
        if (backtrace(s_frames, depth) < depth) break;
        found = depth;
        backtrace_symbols_fd(s_frames + depth - 1, 1, fd);
        fsync(fd);
    }
    if (ftruncate(fd, 0) == 0) lseek(fd, 0, SEEK_SET);
    backtrace_symbols_fd(s_frames, found, fd);
    fsync(fd);
    close(fd);
    pause();  // the stopwatch ends this process, like the host that waits for its stack-trace log
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return EXIT_FAILURE;
    s_path = argv[2];
    // The first backtrace loads the unwinder; the library does this when it is loaded.
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    backtrace_symbols_fd(s_frames, backtrace(s_frames, kMaxFrames), null);
    bench::callDeep(std::atoi(argv[1]), &takeTrace);
    return EXIT_SUCCESS;
}

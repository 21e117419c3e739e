// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/RawTrace.h"

#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/WriteAll.h"
#include "capture/BadCallTarget.h"
#include "capture/FrameLines.h"
#include "capture/GuardedUnwind.h"
#include "capture/ModuleLines.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt {

using HCrashReporter::kBacktraceDepth;
using HCrashReporter::partialStackTraceMsg;
using HCrashReporter::s_btArray;

namespace {

/// A walk over the stack of the thread that dies.
struct Walk {
    int fd;
    off_t start;              // where the trace begins in the file
    pid_t process;            // the one that crashes, not its children
    bool isByModule = false;  // lines without the names of functions
    Interruption interruption = {};
    bool isAfterJump = false;  // there is a bad call target to return from
    BadCallTarget jump = {};
};

int s_framesOnDisk = 0;

void writeModuleLines(void* const* frames, int count, int fd) {
    for (int i = 0; i < count; ++i) {
        writeModuleLine(fd, frames[i]);
        guardedProgress();
    }
}

void writeLines(const Walk& walk, void* const* frames, int count, const void* before) {
    if (walk.isByModule)
        writeModuleLines(frames, count, walk.fd);
    else
        writeFrameLines(frames, count, before, walk.interruption.handlersCaller, walk.fd);
}

/// The line of the last frame of a backtrace.
void writeLastLine(const Walk& walk, int frames) {
    void* const* const last = s_btArray + frames - 1;
    // The bad call target, of which the last frame is the return address, is not among the frames
    // yet.
    const bool isAlone = frames == 1 || (walk.isAfterJump && *last == walk.jump.returnAddress);
    writeLines(walk, last, 1, isAlone ? nullptr : *(last - 1));
}

off_t position(int fd) {
    return lseek(fd, 0, SEEK_CUR);
}

void sync(int fd) {
    TEMP_FAILURE_RETRY(fsync(fd));
}

/// Cuts the trace off. Where that cannot be done, what follows is written behind it.
void startAnew(const Walk& walk) {
    if (TEMP_FAILURE_RETRY(ftruncate(walk.fd, walk.start)) == 0)
        lseek(walk.fd, walk.start, SEEK_SET);
}

constexpr int kTries = 3;

/// Writes the whole trace in place of its frames one by one, which took so many bytes. Whether a
/// signal or a short write has cost a line is nothing that writing a line tells: a trace
/// that is shorter than those lines is written again.
void writeWholeTrace(const Walk& walk, int frames, off_t linesSize) {
    for (int i = 0; i < kTries; ++i) {
        startAnew(walk);
        writeLines(walk, s_btArray, frames, nullptr);
        if (position(walk.fd) - walk.start >= linesSize) return;
    }
}

// In a child only, which costs no frame where it faults: the stack may be damaged above a caller
// that is no signal handler.
void findWhatWasInterrupted(void* self) {
    Walk& walk = *static_cast<Walk*>(self);
    if (getpid() != walk.process && findInterruption(walk.interruption))
        walk.isAfterJump = findBadCallTarget(walk.interruption, walk.jump);
}

void unwindOnce(void* self) {
    const Walk& walk = *static_cast<const Walk*>(self);
    // One frame deeper each time: where the stack is damaged the walk itself may fault, and then
    // the notice and all frames up to there are on disk.
    int found = 0;
    const off_t lines = position(walk.fd);
    for (int depth = 1; depth < static_cast<int>(kBacktraceDepth); ++depth) {
        const int count = backtrace(s_btArray, depth);
        if (depth > count) break;
        found = count;
        writeLastLine(walk, depth);
        sync(walk.fd);
        s_framesOnDisk = found;
        guardedProgress();
    }

    // The walk came to its end, so the trace is not partial. One frame more than it finds fits in.
    if (walk.isAfterJump) found = insertTarget(walk.jump, s_btArray, found);
    writeWholeTrace(walk, found, position(walk.fd) - lines);
    sync(walk.fd);
}

void unwindRepeatedly(Walk& walk) {
    if (runGuarded(&unwindOnce, &walk) || s_framesOnDisk > 0) return;
    // Not even this library's own frame: looking up its name waits for the loader's lock, which
    // another thread holds and may never give back. Then the modules must do.
    walk.isByModule = true;
    runGuarded(&unwindOnce, &walk);
}

}  // namespace

void writeRawTrace(int fd) {
    Walk walk = {fd, position(fd), getpid()};
    writeAll(fd, partialStackTraceMsg, std::strlen(partialStackTraceMsg));
    sync(fd);

    s_framesOnDisk = 0;
    runGuarded(&findWhatWasInterrupted, &walk);
    if (walk.isAfterJump) returnToCaller(walk.jump);
    unwindRepeatedly(walk);
    if (walk.isAfterJump) goBackToTarget(walk.jump);
}

void primeRawTrace() {
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int count = backtrace(s_btArray, static_cast<int>(kBacktraceDepth));
    if (fd < 0) return;
    writeFrameLines(s_btArray, count, nullptr, nullptr, fd);
    close(fd);
}

}  // namespace hcrpt

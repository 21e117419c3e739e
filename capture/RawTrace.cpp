// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/RawTrace.h"

#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/BoundedChild.h"
#include "base/WriteAll.h"
#include "capture/BadCallTarget.h"
#include "capture/FrameChain.h"
#include "capture/FrameLines.h"
#include "capture/ModuleLines.h"
#include "capture/ModuleList.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt {

using HCrashReporter::kBacktraceDepth;
using HCrashReporter::partialStackTraceMsg;
using HCrashReporter::s_btArray;

namespace {

/// A walk over the stack of the thread that dies.
struct Walk {
    int fd = -1;
    off_t start = 0;          // where the trace begins in the file
    pid_t process = 0;        // the one that crashes, not its children
    bool isByModule = false;  // lines without the names of functions
    Interruption interruption = {};
    bool isAfterJump = false;  // there is a bad call target to return from
    BadCallTarget jump = {};
    FrameChain chain = {};       // of frames that no unwinder knows
    ModuleList unreadable = {};  // a look into their symbols has faulted
};

int s_framesOnDisk = 0;
// The frame whose line is being written; null: none.
const void* volatile s_frameInWork = nullptr;

void writeModuleLines(void* const* frames, int count, int fd) {
    for (int i = 0; i < count; ++i) {
        writeModuleLine(fd, frames[i]);
        sharedChildProgress();
    }
}

void writeLines(const Walk& walk, void* const* frames, int count, const void* before) {
    if (walk.isByModule) return writeModuleLines(frames, count, walk.fd);
    for (int i = 0; i < count; before = frames[i++]) {
        s_frameInWork = frames[i];
        if (walk.unreadable.holds(frames[i]))
            writeModuleLine(walk.fd, frames[i]);
        else
            writeFrameLine(walk.fd, frames[i], before, walk.interruption.handlersCaller);
        s_frameInWork = nullptr;
    }
}

/// The line of the last frame of a backtrace.
void writeLastLine(const Walk& walk, int frames) {
    void* const* const last = s_btArray + frames - 1;
    // What was interrupted below this return address is not among the frames yet.
    const bool isAlone = frames == 1 || (walk.isAfterJump && *last == walk.jump.returnAddress) ||
                         (walk.chain.caller != nullptr && *last == walk.chain.caller);
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
void findWhatWasInterrupted(void* self) noexcept {
    Walk& walk = *static_cast<Walk*>(self);
    if (getpid() == walk.process || !findInterruption(walk.interruption)) return;
    walk.isAfterJump = findBadCallTarget(walk.interruption, walk.jump);
    if (!walk.isAfterJump) findFrameChain(walk.interruption, walk.chain);
}

void unwindOnce(void* self) noexcept {
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
        sharedChildProgress();
    }

    // The walk came to its end, so the trace is not partial. One frame more than it finds fits in.
    if (walk.isAfterJump) found = insertTarget(walk.jump, s_btArray, found);
    found = insertChain(walk.chain, s_btArray, found, static_cast<int>(kBacktraceDepth) - 1);
    writeWholeTrace(walk, found, position(walk.fd) - lines);
    sync(walk.fd);
}

void writeNotice(const Walk& walk) {
    writeAll(walk.fd, partialStackTraceMsg, std::strlen(partialStackTraceMsg));
    sync(walk.fd);
}

/// Where the unwinder has not got beyond the signal handler: the interrupted instruction, and what
/// the frame pointers lead to.
void writeUnreachedFrames(const Walk& walk) {
    const bool isAtHandler = s_btArray[s_framesOnDisk - 1] == walk.interruption.handlersCaller;
    if (!isAtHandler || walk.isAfterJump || walk.chain.caller != nullptr) return;
    if (walk.chain.count == 0) {
        const auto address = walk.interruption.state->uc_mcontext.gregs[REG_RIP];
        // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how a register holds it
        writeModuleLine(walk.fd, reinterpret_cast<void*>(address));
    }
    writeModuleLines(walk.chain.frames, walk.chain.count, walk.fd);
    sync(walk.fd);
}

void unwindRepeatedly(Walk& walk) {
    for (;;) {
        s_frameInWork = nullptr;
        if (runInSharedChild(&unwindOnce, &walk)) return;
        if (s_frameInWork == nullptr && s_framesOnDisk > 0) {
            writeUnreachedFrames(walk);  // the unwinder has faulted
            return;
        }
        // The lookup of a name has faulted, or hangs. Not even this library's own frame: another
        // thread holds the loader's lock and may never give it back. Otherwise the library's file
        // was cut or overwritten, and its symbols with it. The line of a module needs neither.
        if (walk.isByModule) return;
        if (s_framesOnDisk == 0 || !walk.unreadable.add(s_frameInWork)) walk.isByModule = true;
        startAnew(walk);
        writeNotice(walk);
    }
}

}  // namespace

void writeRawTrace(int fd) {
    Walk walk = {fd, position(fd), getpid()};
    writeNotice(walk);

    s_framesOnDisk = 0;
    runInSharedChild(&findWhatWasInterrupted, &walk);
    if (walk.isAfterJump) returnToCaller(walk.jump);
    const SavedFrame interrupted = continueAfterChain(walk.chain);
    unwindRepeatedly(walk);
    restoreFrame(walk.chain, interrupted);
    if (walk.isAfterJump) goBackToTarget(walk.jump);
}

void primeRawTrace() {
    const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const int count = backtrace(s_btArray, static_cast<int>(kBacktraceDepth));
    if (fd < 0) return;
    for (int i = 0; i < count; ++i) writeFrameLine(fd, s_btArray[i], nullptr, nullptr);
    close(fd);
}

}  // namespace hcrpt

// The handler's demangled trace, for callers that want it at once. The crash handler leaves this to
// the crash reporter.
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

#include "base/ReadAll.h"
#include "base/WriteAll.h"
#include "capture/CrashOutput.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/BoundedDemangle.h"

namespace HCrashReporter {
namespace {

constexpr std::size_t kChunkSize = 10000;  // bytes; a trace is meant to fit into one

void writeText(int fd, const char* text) {
    hcrpt::writeAll(fd, text, std::strlen(text));
}

bool endsInLineFeed(const char* line, std::size_t length) {
    return line[length - 1] == '\n';
}

// Frames of the crash reporter and of the in-house stream library tell nothing about the failure.
bool isOfInterest(const char* line) {
    return std::strstr(line, "HCrashReporter") == nullptr &&
           std::strstr(line, "libopx_iostreams") == nullptr;
}

// Writes the demangled frames of one chunk. Contract: the limit is checked after a frame has been
// written, and for each chunk anew, so each chunk gives up to maxFrames + 1 frames.
void writeChunk(HCrptLinuxExceptionHandler& handler, int fd, char* chunk, char* line,
                unsigned long maxFrames) {
    std::size_t offset = 0;
    unsigned long count = 0;
    for (;;) {
        HCrptResourceMgr::getNextLineFromBuffer(chunk, kChunkSize - 1, line, kChunkSize - 1, offset,
                                                false);
        const std::size_t length = std::strlen(line);
        if (length < 2) return;
        if (!endsInLineFeed(line, length)) {
            // A line that was cut is dropped with its rest. Where the chunk ends before the line
            // does, so does the reading of the chunk: going on could never come to an end.
            const std::size_t before = offset;
            HCrptResourceMgr::getNextLineFromBuffer(chunk, kChunkSize - 1, line, kChunkSize - 1,
                                                    offset, true);
            if (offset == before) return;
            continue;
        }
        HCrashRptUtils::removeFullPathToLibrary(line);
        if (!isOfInterest(line)) continue;
        handler.demangle(fd, line);
        if (++count > maxFrames) return;
    }
}

std::size_t readChunk(int fd, char* chunk) {
    const std::size_t got = hcrpt::readAll(fd, chunk, kChunkSize);
    // Lines are looked for in the whole chunk: what an earlier one left must not be found.
    std::memset(chunk + got, 0, kChunkSize - got);
    return got;
}

}  // namespace

bool HCrptLinuxExceptionHandler::printTrace(int fd, unsigned long maxFrames) {
    void* frames[kBacktraceDepth];
    const int count = backtrace(frames, static_cast<int>(kBacktraceDepth));
    const char* const path = HCrptResourceMgr::getStacktraceTempFilePath().c_str();

    int trace = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (trace < 1) {  // Contract: descriptor 0 counts as a failure, too, and is closed
        hcrpt::putStdout("Error opening File. Could not write stacktrace!\n");
        hcrpt::flushStdout();
        close(trace);
        return false;
    }
    backtrace_symbols_fd(frames, count, trace);
    close(trace);
    trace = open(path, O_RDONLY | O_CLOEXEC);
    if (trace < 0) {
        close(trace);
        return true;
    }

    char* const chunk = static_cast<char*>(HCrptResourceMgr::allocateMem(kChunkSize));
    char* const line = static_cast<char*>(HCrptResourceMgr::allocateMem(kChunkSize));
    if (chunk != nullptr) chunk[0] = '\0';
    if (line != nullptr) line[0] = '\0';
    if (chunk != nullptr && line != nullptr) {
        while (readChunk(trace, chunk) > 0) writeChunk(*this, fd, chunk, line, maxFrames);
    }
    close(trace);
    return true;
}

void HCrptLinuxExceptionHandler::demangle(int fd, char* line) {
    const std::size_t size = HCrptResourceMgr::getScratchSize();
    char* const name = HCrptResourceMgr::getScratchBuffer1();
    char* const readable = HCrptResourceMgr::getScratchBuffer2();
    char* const open = std::strchr(line, '(');

    bool written = false;
    if (open != nullptr && name != nullptr && readable != nullptr && std::strlen(line) <= size) {
        char* const start = open + 1;
        const std::size_t length = std::strcspn(start, "+");
        std::memcpy(name, start, length);
        name[length] = '\0';
        if (length > 1) {
            // Not straight into the scratch buffer: where the demangled name does not fit,
            // __cxa_demangle would free() the buffer it was given.
            const hcrpt::DemangledName demangled = hcrpt::demangleName(name);
            const std::size_t demangledSize =
                demangled != nullptr ? std::strlen(demangled.get()) + 1 : 0;
            if (demangledSize > 0 && demangledSize <= size) {
                std::memcpy(readable, demangled.get(), demangledSize);
                hcrpt::writeAll(fd, line, static_cast<std::size_t>(start - line));
                writeText(fd, readable);
                writeText(fd, start + length);
                written = true;
            }
        }
    }
    if (!written) writeText(fd, line);
    // Also where this call did not get them: whoever held them is not coming back.
    HCrptResourceMgr::releaseScratchBuffer1();
    HCrptResourceMgr::releaseScratchBuffer2();
}

}  // namespace HCrashReporter

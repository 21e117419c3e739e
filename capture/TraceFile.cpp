// Runs on the 8 KiB alternate stack: small frames, no heap, no stdio, no strings.
#include "capture/TraceFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "base/TextBuilder.h"
#include "base/WriteAll.h"
#include "hcrpt/HCrashCapture.h"

namespace hcrpt {

int openRawTrace() {
    // A pipe under the name that nobody reads is an error, not something to wait for.
    constexpr int kFlags = O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const char* const path = HCrptResourceMgr::getStacktraceTempFilePath().c_str();
    return static_cast<int>(TEMP_FAILURE_RETRY(open(path, kFlags, 0644)));
}

void writeTraceHeader(int fd, int signal) {
    char buffer[60] = {};
    TextBuilder header(buffer, sizeof buffer);
    header.add("#\n# An unexpected error has occurred (").add(signal).add(")\n#\nStack:\n");
    writeAll(fd, header.text(), header.length());
}

}  // namespace hcrpt

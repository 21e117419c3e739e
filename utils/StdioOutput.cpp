// Runs on the 8 KiB alternate stack: small frames, no heap, no strings.
#include "utils/StdioOutput.h"

#include <stdio_ext.h>

#include "base/WriteAll.h"

namespace hcrpt {

namespace {

// A stream of wide characters keeps them elsewhere, and takes no others.
bool isWide(const FILE* stream) {
    return stream->_mode > 0;
}

}  // namespace

void putText(FILE* stream, const char* text, std::size_t length) {
    // What stdio itself takes for room: none where it would write out the buffer, or the text.
    const auto room = stream->_IO_write_end - stream->_IO_write_ptr;
    if (!isWide(stream) && room > 0 && static_cast<std::size_t>(room) >= length) {
        fwrite_unlocked(text, 1, length, stream);
        return;
    }
    flushText(stream);
    writeAll(fileno_unlocked(stream), text, length);
}

void flushText(FILE* stream) {
    if (isWide(stream)) {
        fflush_unlocked(stream);
        return;
    }
    const std::size_t waiting = __fpending(stream);
    if (waiting == 0) return;
    writeAll(fileno_unlocked(stream), stream->_IO_write_base, waiting);
    __fpurge(stream);
}

}  // namespace hcrpt

// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/FrameLines.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/uio.h>

#include <cstdint>
#include <cstring>

#include "base/TextBuilder.h"

namespace hcrpt {
namespace {

/// The call's module and function; no module: null.
Dl_info callerOf(std::uintptr_t address, std::uintptr_t& loadAddress) {
    Dl_info caller = {};
    link_map* module = nullptr;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): within the instruction before the address
    const void* const call = reinterpret_cast<const void*>(address - 1);
    if (dladdr1(call, &caller, reinterpret_cast<void**>(&module), RTLD_DL_LINKMAP) == 0) return {};
    loadAddress = module->l_addr;
    return caller;
}

iovec piece(const char* text) {
    return {const_cast<char*>(text), std::strlen(text)};
}

}  // namespace

void writeReturnLine(int fd, const void* address) {
    const auto value = reinterpret_cast<std::uintptr_t>(address);
    std::uintptr_t loadAddress = 0;
    const Dl_info caller = callerOf(value, loadAddress);
    if (caller.dli_fname == nullptr || *caller.dli_fname == '\0') {
        void* const frame = const_cast<void*>(address);
        backtrace_symbols_fd(&frame, 1, fd);
        return;
    }
    const bool isNamed = caller.dli_sname != nullptr;
    char buffer[64];
    TextBuilder end(buffer, sizeof buffer);
    // A program at a fixed place has no offset without a name.
    const bool hasOffset = isNamed || loadAddress != 0;
    if (hasOffset)
        end.add("+")
            .addHex(value -
                    (isNamed ? reinterpret_cast<std::uintptr_t>(caller.dli_saddr) : loadAddress))
            .add(")");
    end.add("[").addHex(value).add("]\n");

    const iovec line[] = {piece(caller.dli_fname), piece(hasOffset ? "(" : ""),
                          piece(isNamed ? caller.dli_sname : ""), piece(end.text())};
    // A short write is found by the size of the trace, which is then written again.
    static_cast<void>(!writev(fd, line, sizeof line / sizeof *line));
}

void writeFrameLine(int fd, void* frame, const void* before, const void* handlersCaller) {
    const bool isReturnAddress =
        handlersCaller == nullptr || (frame != handlersCaller && before != handlersCaller);
    if (isReturnAddress)
        writeReturnLine(fd, frame);
    else
        backtrace_symbols_fd(&frame, 1, fd);
}

}  // namespace hcrpt

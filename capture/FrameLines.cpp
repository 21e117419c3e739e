// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/FrameLines.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>
#include <sys/uio.h>

#include <cstdint>
#include <cstring>

namespace hcrpt {
namespace {

/// Digits of a number, as they follow "0x".
class HexDigits {
  public:
    explicit HexDigits(std::uintptr_t value) {
        do {
            *--m_first = "0123456789abcdef"[value % 16];
            value /= 16;
        } while (value != 0);
    }
    const char* first() const { return m_first; }
    std::size_t length() const {
        return static_cast<std::size_t>(m_digits + sizeof m_digits - m_first);
    }

  private:
    char m_digits[2 * sizeof(std::uintptr_t)];
    char* m_first = m_digits + sizeof m_digits;
};

/// The pieces of one line.
class Line {
  public:
    void add(const char* text) { add(text, std::strlen(text)); }
    void add(const HexDigits& digits) { add(digits.first(), digits.length()); }
    /// A short write is found by the size of the trace, which is then written again.
    void write(int fd) const { static_cast<void>(!writev(fd, m_pieces, m_count)); }

  private:
    void add(const char* text, std::size_t length) {
        m_pieces[m_count++] = {const_cast<char*>(text), length};
    }

    iovec m_pieces[9];
    int m_count = 0;
};

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
    const HexDigits offset(
        value - (isNamed ? reinterpret_cast<std::uintptr_t>(caller.dli_saddr) : loadAddress));
    const HexDigits digits(value);
    Line line;
    line.add(caller.dli_fname);
    // A program at a fixed place has no offset without a name.
    if (isNamed || loadAddress != 0) {
        line.add("(");
        if (isNamed) line.add(caller.dli_sname);
        line.add("+0x");
        line.add(offset);
        line.add(")");
    }
    line.add("[0x");
    line.add(digits);
    line.add("]\n");
    line.write(fd);
}

void writeFrameLines(void* const* frames, int count, const void* before, const void* handlersCaller,
                     int fd) {
    for (int i = 0; i < count; before = frames[i++]) {
        const bool isReturnAddress =
            handlersCaller == nullptr || (frames[i] != handlersCaller && before != handlersCaller);
        if (isReturnAddress)
            writeReturnLine(fd, frames[i]);
        else
            backtrace_symbols_fd(frames + i, 1, fd);
    }
}

}  // namespace hcrpt

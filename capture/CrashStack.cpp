#include "capture/CrashStack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

#ifdef HCRPT_SANITIZE
#include <sanitizer/common_interface_defs.h>
#endif

// void hcrptCallOnStack(void* top, void (*body)(void*) noexcept, void* argument)
//
// Calls the body with the stack pointer at top and comes back on the old stack. The frame is
// described by %rbp, so debuggers and unwinders walk through it.
asm(R"(
    .text
    .local  hcrptCallOnStack
    .type   hcrptCallOnStack, @function
hcrptCallOnStack:
    .cfi_startproc
    pushq   %rbp
    .cfi_def_cfa_offset 16
    .cfi_offset %rbp, -16
    movq    %rsp, %rbp
    .cfi_def_cfa_register %rbp
    movq    %rdi, %rsp
    movq    %rdx, %rdi
    call    *%rsi
    leave
    .cfi_def_cfa %rsp, 8
    ret
    .cfi_endproc
    .size   hcrptCallOnStack, . - hcrptCallOnStack
)");
extern "C" void hcrptCallOnStack(void* top, void (*body)(void*) noexcept, void* argument);

namespace hcrpt::CrashStack {
namespace {

char* s_low = nullptr;
char* s_top = nullptr;  // just above the highest byte, aligned to 16 as calls need it
bool s_inUse = false;

#ifdef HCRPT_SANITIZE
// Where an exception unwinds, AddressSanitizer clears its marks of the current stack. It has to be
// told which one that is.
struct AnnouncedCall {
    void (*body)(void*) noexcept;
    void* argument;
    const void* callersLow = nullptr;
    std::size_t callersSize = 0;

    static void run(void* self) noexcept {
        auto& call = *static_cast<AnnouncedCall*>(self);
        __sanitizer_finish_switch_fiber(nullptr, &call.callersLow, &call.callersSize);
        call.body(call.argument);
        __sanitizer_start_switch_fiber(nullptr, call.callersLow, call.callersSize);
    }
};

void callOnStack(void (*body)(void*) noexcept, void* argument) {
    AnnouncedCall call{body, argument};
    void* fakeStack = nullptr;
    __sanitizer_start_switch_fiber(&fakeStack, s_low, static_cast<std::size_t>(s_top - s_low));
    hcrptCallOnStack(s_top, &AnnouncedCall::run, &call);
    __sanitizer_finish_switch_fiber(fakeStack, nullptr, nullptr);
}
#else
void callOnStack(void (*body)(void*) noexcept, void* argument) {
    hcrptCallOnStack(s_top, body, argument);
}
#endif

bool isCurrent() {
    const auto* const frame = static_cast<const char*>(__builtin_frame_address(0));
    return frame >= s_low && frame < s_top;
}

}  // namespace

bool reserve() {
    if (s_top != nullptr) return true;
    const std::size_t guard = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const base = mmap(nullptr, guard + kSize, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (base == MAP_FAILED) return false;
    mprotect(base, guard, PROT_NONE);
    s_low = static_cast<char*>(base) + guard;
    s_top = s_low + kSize;
    return true;
}

void adopt(void* low, std::size_t size) {
    s_low = static_cast<char*>(low);
    char* const top = s_low + size;
    s_top = top - reinterpret_cast<std::uintptr_t>(top) % 16;
}

void run(void (*body)(void*) noexcept, void* argument) {
    if (s_inUse)
        body(argument);
    else
        enter(body, argument);
}

void enter(void (*body)(void*) noexcept, void* argument) {
    if (s_top == nullptr || isCurrent()) {
        body(argument);
        return;
    }
    s_inUse = true;
    callOnStack(body, argument);
    s_inUse = false;
}

}  // namespace hcrpt::CrashStack

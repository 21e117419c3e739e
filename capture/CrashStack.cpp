#include "capture/CrashStack.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>

// void hcrptCallOnStack(void* top, void (*body)(void*), void* argument)
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
extern "C" void hcrptCallOnStack(void* top, void (*body)(void*), void* argument);

namespace hcrpt::CrashStack {
namespace {

char* s_top = nullptr;  // just above the highest byte, aligned to 16 as calls need it
bool s_inUse = false;

}  // namespace

bool reserve() {
    if (s_top != nullptr) return true;
    const std::size_t guard = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const base = mmap(nullptr, guard + kSize, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (base == MAP_FAILED) return false;
    mprotect(base, guard, PROT_NONE);
    s_top = static_cast<char*>(base) + guard + kSize;
    return true;
}

void adopt(void* low, std::size_t size) {
    const auto top = reinterpret_cast<std::uintptr_t>(low) + size;
    s_top = reinterpret_cast<char*>(top & ~std::uintptr_t{15});
}

void run(void (*body)(void*), void* argument) {
    if (s_top == nullptr || s_inUse) {
        body(argument);
        return;
    }
    s_inUse = true;
    hcrptCallOnStack(s_top, body, argument);
    s_inUse = false;
}

}  // namespace hcrpt::CrashStack

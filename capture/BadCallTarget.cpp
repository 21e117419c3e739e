// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/BadCallTarget.h"

#include <ucontext.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "capture/SafeMemory.h"

namespace hcrpt {
namespace {

constexpr greg_t kAddressSize = 8;

void* toPointer(greg_t address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how a register holds it
    return reinterpret_cast<void*>(address);
}

/// The processor could not fetch an instruction.
bool isBadCallTarget(const mcontext_t& state) {
    constexpr greg_t kPageFault = 14;
    constexpr greg_t kInstructionFetch = 0x10;
    return state.gregs[REG_TRAPNO] == kPageFault && (state.gregs[REG_ERR] & kInstructionFetch) != 0;
}

/// Returns true when the instruction before the address is a call, in any of its forms.
bool isBehindCall(std::uintptr_t address) {
    constexpr std::ptrdiff_t kMaxLength = 7;
    constexpr std::ptrdiff_t kDirect = 5;
    unsigned char code[kMaxLength];
    if (address < kMaxLength ||
        !readMemory(toPointer(static_cast<greg_t>(address - kMaxLength)), code, sizeof code))
        return false;
    const unsigned char* const end = code + kMaxLength;
    if (*(end - kDirect) == 0xe8) return true;
    // By way of a register or of memory: the opcode, which others share, with 2 in its next byte.
    for (const std::ptrdiff_t length : {2, 3, 4, 6, 7})
        if (*(end - length) == 0xff && (*(end - length + 1) >> 3 & 7) == 2) return true;
    return false;
}

}  // namespace

bool findBadCallTarget(const Interruption& interruption, BadCallTarget& jump) {
    if (interruption.state == nullptr) return false;
    mcontext_t& state = interruption.state->uc_mcontext;
    std::uintptr_t returnAddress = 0;
    if (!isBadCallTarget(state) ||
        !readMemory(toPointer(state.gregs[REG_RSP]), &returnAddress, sizeof returnAddress) ||
        !isBehindCall(returnAddress))
        return false;
    jump = {&state, toPointer(state.gregs[REG_RIP]), toPointer(static_cast<greg_t>(returnAddress)),
            interruption.handlersCaller};
    return true;
}

void returnToCaller(const BadCallTarget& jump) {
    jump.state->gregs[REG_RIP] = reinterpret_cast<greg_t>(jump.returnAddress);
    jump.state->gregs[REG_RSP] += kAddressSize;
}

void goBackToTarget(const BadCallTarget& jump) {
    jump.state->gregs[REG_RIP] = reinterpret_cast<greg_t>(jump.target);
    jump.state->gregs[REG_RSP] -= kAddressSize;
}

int insertTarget(const BadCallTarget& jump, void** frames, int count) {
    for (int i = 1; i < count; ++i) {
        if (frames[i] != jump.returnAddress || frames[i - 1] != jump.handlersCaller) continue;
        std::memmove(frames + i + 1, frames + i,
                     static_cast<std::size_t>(count - i) * sizeof *frames);
        frames[i] = jump.target;
        return count + 1;
    }
    return count;
}

}  // namespace hcrpt

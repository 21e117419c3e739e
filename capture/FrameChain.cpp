// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/FrameChain.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstring>

#include "capture/ModuleLines.h"
#include "capture/SafeMemory.h"

// Belongs to the unwinder's library, which declares it in no public header.
struct UnwindBases {
    void* text;
    void* data;
    void* function;
};
extern "C" const void* _Unwind_Find_FDE(void* address, UnwindBases* bases);

namespace hcrpt {
namespace {

void* toPointer(std::uintptr_t address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how a register holds it
    return reinterpret_cast<void*>(address);
}

/// Returns true when the unwinder's table of the address's module can be read. It is gone when the
/// module's file was cut since it was loaded.
bool canReadTable(void* address) {
    dl_find_object module = {};
    if (_dl_find_object(address, &module) != 0) return true;  // registered elsewhere, if at all
    const char* const table = static_cast<const char*>(module.dlfo_eh_frame);
    char byte = 0;
    // A system that lets nobody read so (-1) says nothing about the table.
    return table == nullptr || readReadable(table, &byte, sizeof byte) != 0;
}

bool isKnownToUnwinder(std::uintptr_t address) {
    UnwindBases bases = {};
    void* const code = toPointer(address);
    return canReadTable(code) && _Unwind_Find_FDE(code, &bases) != nullptr;
}

bool isExecutable(std::uintptr_t address) {
    MappedRange range;
    return findMappedRange(address, range) && range.isExecutable;
}

/// What a function that keeps a frame pointer finds there.
struct Frame {
    std::uintptr_t callersFrame;
    std::uintptr_t returnAddress;
};

}  // namespace

void findFrameChain(const Interruption& interruption, FrameChain& chain) {
    const greg_t* const registers = interruption.state->uc_mcontext.gregs;
    const auto instruction = static_cast<std::uintptr_t>(registers[REG_RIP]);
    if (isKnownToUnwinder(instruction) || !isExecutable(instruction)) return;
    MappedRange stack;
    auto bottom = static_cast<std::uintptr_t>(registers[REG_RSP]);
    if (!findMappedRange(bottom, stack)) return;

    chain.interruption = interruption;
    chain.frames[chain.count++] = toPointer(instruction);
    auto at = static_cast<std::uintptr_t>(registers[REG_RBP]);
    while (chain.count < FrameChain::kMax) {
        Frame frame = {};
        if (at < bottom || at % sizeof at != 0 || at > stack.end - sizeof frame ||
            !readMemory(toPointer(at), &frame, sizeof frame) || !isExecutable(frame.returnAddress))
            return;
        bottom = at + sizeof frame;
        if (isKnownToUnwinder(frame.returnAddress - 1)) {
            chain.caller = toPointer(frame.returnAddress);
            chain.callersStack = bottom;
            chain.callersFrame = frame.callersFrame;
            return;
        }
        chain.frames[chain.count++] = toPointer(frame.returnAddress);
        at = frame.callersFrame;
    }
}

SavedFrame continueAfterChain(const FrameChain& chain) {
    if (chain.caller == nullptr) return {};
    greg_t* const registers = chain.interruption.state->uc_mcontext.gregs;
    const SavedFrame saved = {registers[REG_RIP], registers[REG_RSP], registers[REG_RBP]};
    registers[REG_RIP] = reinterpret_cast<greg_t>(chain.caller);
    registers[REG_RSP] = static_cast<greg_t>(chain.callersStack);
    registers[REG_RBP] = static_cast<greg_t>(chain.callersFrame);
    return saved;
}

void restoreFrame(const FrameChain& chain, const SavedFrame& saved) {
    if (chain.caller == nullptr) return;
    greg_t* const registers = chain.interruption.state->uc_mcontext.gregs;
    registers[REG_RIP] = saved.instruction;
    registers[REG_RSP] = saved.stack;
    registers[REG_RBP] = saved.frame;
}

int insertChain(const FrameChain& chain, void** frames, int count, int most) {
    if (chain.count == 0) return count;
    void** end = frames + count;
    void** place = std::find(frames, end, chain.interruption.handlersCaller);
    if (place == end) return count;
    ++place;
    // Without a known caller the backtrace ends with the interrupted instruction.
    if (chain.caller == nullptr) end = place;
    const auto room = most - static_cast<int>(place - frames);
    const int added = std::min(chain.count, room);
    const int moved = std::min(static_cast<int>(end - place), room - added);
    std::memmove(place + added, place, static_cast<std::size_t>(moved) * sizeof *frames);
    std::copy(chain.frames, chain.frames + added, place);
    return static_cast<int>(place - frames) + added + moved;
}

}  // namespace hcrpt

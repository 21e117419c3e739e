/// @file
/// Frames of code that has no unwind tables, as a just-in-time compiler makes it, or whose tables
/// are gone since the file of its library was cut.
#pragma once

#include <cstdint>

#include "capture/Interruption.h"

namespace hcrpt {

/// What a signal has interrupted in such code: the instruction, and the return addresses that the
/// chain of frame pointers leads to. Empty where an unwinder knows the interrupted code, and where
/// the chain leads nowhere.
struct FrameChain {
    static constexpr int kMax = 32;

    void* frames[kMax] = {};
    int count = 0;
    /// The first caller that an unwinder knows, and its registers; null: none was found.
    void* caller = nullptr;
    std::uintptr_t callersStack = 0;
    std::uintptr_t callersFrame = 0;
    Interruption interruption;
};

/// Follows the chain as long as it is plausible: each frame lies above the one before, within the
/// stack of the thread, and its return address in executable memory.
/// @signalsafe, in a child that may fault: the unwinder's tables may be unreadable.
void findFrameChain(const Interruption& interruption, FrameChain& chain);

/// Registers of a thread that say where it is.
struct SavedFrame {
    greg_t instruction = 0;
    greg_t stack = 0;
    greg_t frame = 0;
};

/// Makes the saved state of the thread that of the known caller, so that a backtrace goes on there.
/// Does nothing without one. @return what was there. @signalsafe
SavedFrame continueAfterChain(const FrameChain& chain);

/// Undoes that. @signalsafe
void restoreFrame(const FrameChain& chain, const SavedFrame& saved);

/// Puts the frames of the chain where they belong in a backtrace, which then has no more than
/// `most` frames. @return their number. @signalsafe
int insertChain(const FrameChain& chain, void** frames, int count, int most);

}  // namespace hcrpt

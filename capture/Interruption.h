/// @file
/// What a fatal signal has interrupted.
#pragma once

#include <ucontext.h>

namespace hcrpt {

/// The signal frame beneath the handler that runs.
struct Interruption {
    ucontext_t* state = nullptr;  ///< of the thread, as the kernel saved it; null: no signal frame
    void* handlersCaller =
        nullptr;  ///< the address, in the C library, to which the handler returns
};

/// Takes the signal frame from the frame of the handler itself, without the unwinder: that may
/// take locks and memory, and fault.
/// @param handlersFrame __builtin_frame_address(0) in a handler that keeps a frame pointer
/// @return false when the function was called by ordinary code. @signalsafe
bool interruptionOfHandler(void* const* handlersFrame, Interruption& interruption);

/// Looks for the innermost signal frame of the calling thread. @return false when there is none.
/// @signalsafe, once the unwinder has been primed. Walks over the stack up to the handler's caller,
/// and may fault where there is no handler and the stack is damaged.
bool findInterruption(Interruption& interruption);

}  // namespace hcrpt

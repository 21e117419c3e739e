/// @file
/// Calls through null and wild pointers.
#pragma once

#include "capture/Interruption.h"

namespace hcrpt {

/// A call that has led to where there is no code.
struct BadCallTarget {
    mcontext_t* state;  ///< of the thread, as the kernel has saved it for the signal handler
    void* target;
    void* returnAddress;   ///< in the function that called
    void* handlersCaller;  ///< the address, in the C library, to which the handler returns
};

/// Tells whether the signal has interrupted such a call. Where the top of the stack is no return
/// address, as after a return to a smashed one, there is none. @signalsafe
bool findBadCallTarget(const Interruption& interruption, BadCallTarget& jump);

/// From the target no unwinder finds the way, and it may fault when it tries. This makes the saved
/// state that of the caller, as if the call had returned. @signalsafe
void returnToCaller(const BadCallTarget& jump);

/// Undoes that. @signalsafe
void goBackToTarget(const BadCallTarget& jump);

/// Puts the target where it would stand in a backtrace that was taken from the caller. @return the
/// number of frames, of which there is one more then. @signalsafe
int insertTarget(const BadCallTarget& jump, void** frames, int count);

}  // namespace hcrpt

/// @file
/// Calls through null and wild pointers.
#pragma once

namespace hcrpt {

/// A call that has led to where there is no code.
struct WildJump {
    void* target;
    void* returnAddress;   ///< in the function that called
    void* handlersCaller;  ///< the address, in the C library, to which the signal handler returns
};

/// For a signal handler that walks over its stack. Where its thread has called what is no code, no
/// unwinder gets past the signal, and it may fault when it tries: the thread's saved state is made
/// that of the caller, as if the call had returned. The handler must not return any more.
/// @return whether there was such a call and now is none. Where the top of the stack is no return
///         address, as after a return to a smashed one, everything stays as it is.
/// @signalsafe, once the unwinder has been primed.
bool returnFromWildJump(WildJump& jump);

/// Puts the target where it would stand in a backtrace that was taken since. @return the number of
/// frames, of which there is one more then. @signalsafe
int insertTarget(const WildJump& jump, void** frames, int count);

}  // namespace hcrpt

// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/Interruption.h"

#include <unwind.h>

#include <cstring>

namespace hcrpt {
namespace {

/// What a signal handler returns to: mov $15,%rax; syscall. Debuggers know it by these bytes, too.
constexpr unsigned char kSignalReturn[] = {0x48, 0xc7, 0xc0, 0x0f, 0, 0, 0, 0x0f, 0x05};

void* toPointer(_Unwind_Ptr address) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how the unwinder gives it
    return reinterpret_cast<void*>(address);
}

bool isSignalReturn(const void* code) {
    return code != nullptr && std::memcmp(code, kSignalReturn, sizeof kSignalReturn) == 0;
}

_Unwind_Reason_Code stopAtSignal(_Unwind_Context* frame, void* to) {
    void* const code = toPointer(_Unwind_GetIP(frame));
    if (!isSignalReturn(code)) return _URC_NO_REASON;
    // The kernel puts the state of the thread where the stack of this frame begins.
    void* const state = toPointer(_Unwind_GetCFA(frame));
    *static_cast<Interruption*>(to) = {static_cast<ucontext_t*>(state), code};
    return _URC_NORMAL_STOP;
}

}  // namespace

bool interruptionOfHandler(void* const* handlersFrame, Interruption& interruption) {
    // Saved frame pointer, return address, then the state of the thread as the kernel saved it.
    void* const code = handlersFrame[1];
    if (!isSignalReturn(code)) return false;
    void* const state = const_cast<void**>(handlersFrame + 2);
    interruption = {static_cast<ucontext_t*>(state), code};
    return true;
}

bool findInterruption(Interruption& interruption) {
    interruption = {};
    _Unwind_Backtrace(&stopAtSignal, &interruption);
    return interruption.state != nullptr;
}

}  // namespace hcrpt

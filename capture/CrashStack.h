/// @file
/// The stack of the crash handler.
///
/// A fatal signal may arrive on an alternate stack of 8,192 bytes, of which the kernel takes up to
/// 3,632 for itself (AVX-512), or on a stack that is nearly full. How much is left cannot be known:
/// it may be a fiber's. So a larger stack is reserved at start-up, and the crash handler enters it
/// with its first steps. The switch has call frame information: a backtrace goes on through it.
#pragma once

#include <cstddef>

namespace hcrpt::CrashStack {

/// Bytes that the crash handler may use. They cost address space only until a crash.
constexpr std::size_t kSize = std::size_t{256} * 1024;

/// Reserves the stack, with a guard page beneath it; later calls do nothing. @ordinary
/// @return whether it is there.
bool reserve();

/// Uses memory that the caller owns instead, so that tests can look at it afterwards. @ordinary
void adopt(void* low, std::size_t size);

/// Runs body(argument) on the reserved stack and returns after it. Where there is none, or it is in
/// use already, runs it on the current one. The body is noexcept, because no caller could
/// handle an exception. @signalsafe as far as the body is.
void run(void (*body)(void*) noexcept, void* argument);

/// Does so for the thread that has claimed the crash: no other use counts but its own. What another
/// thread left there belongs to a process of which this one is a copy. @signalsafe
void enter(void (*body)(void*) noexcept, void* argument);

}  // namespace hcrpt::CrashStack

/// @file
/// Work that may fault or hang, done where it costs nothing else.
#pragma once

namespace hcrpt {

/// Runs body(argument) in a child process that shares this one's memory, stack and descriptors,
/// while the calling thread is suspended. A fault in the body, and a body that makes no progress
/// for kGuardedStepSeconds, end the child alone; what it has done until then stays.
/// Where no child can be made, the body runs in the calling thread.
/// @signalsafe as far as the body is. The host sees nothing of the child: no SIGCHLD, no status.
/// @return whether the body came to its end.
bool runGuarded(void (*body)(void*), void* argument);

/// To be called by the body after each step: it has time for the next one. @signalsafe
void guardedProgress();

/// How long one step of the body may take.
constexpr int kGuardedStepSeconds = 5;

}  // namespace hcrpt

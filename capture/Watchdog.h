/// @file
/// The end of a crashing process, whatever happens.
#pragma once

namespace hcrpt::Watchdog {

/// How long a stretch of the crash handler may take, in seconds, the wait for the stack-trace log
/// not counted in.
constexpr int kRawTrace = 60;  ///< one walk over the stack, a second one without names
constexpr int kCopies = 20;    ///< copying traces to and from the crash store
constexpr int kReport = 60;    ///< facts, four shell pipelines, the report

/// From now on a stretch that takes too long ends the process with this status. Before, set() does
/// nothing: only a process that is crashing anyway may be ended so. Stops the host's interval
/// timers. The deadline has a timer and a signal of its own (SIGSTKFLT, sent to the calling
/// thread); neither another timer's signal nor another thread that sets an alarm touches it. Where
/// the kernel grants no further timer, the interval timer and SIGALRM serve. @signalsafe
void enable(int status);

/// Starts a stretch, which ends the one before: a heap whose lock the dead thread holds, or a pipe
/// that nobody reads, must not keep the process forever. @signalsafe
void set(int seconds);

/// Seconds, rounded up, until the deadline; 0 where none is set. @signalsafe
int secondsLeft();

}  // namespace hcrpt::Watchdog

/// @file
/// The end of a crashing process, whatever happens.
#pragma once

namespace hcrpt::Watchdog {

/// How long a stretch of the crash handler may take, in seconds, the wait for the stack-trace log
/// not counted in.
constexpr int kCopies = 20;  ///< copying traces to and from the crash store
constexpr int kReport = 60;  ///< facts, four shell pipelines, the report

/// From now on a stretch that takes too long ends the process with this status. Before, set() does
/// nothing: only a process that is crashing anyway may be ended so. @signalsafe
void enable(int status);

/// Starts a stretch, which ends the one before: a heap whose lock the dead thread holds, or a pipe
/// that nobody reads, must not keep the process for ever. Takes over SIGALRM and its timer. Not for
/// the alternate stack, which has no room for a further signal. @signalsafe
void set(int seconds);

}  // namespace hcrpt::Watchdog

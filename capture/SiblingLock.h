/// @file
/// Lets forked processes of one registration crash one after another.
///
/// A forked child leaves its trace and its log under the process id of the process that registered,
/// as its siblings and its parent do. If two of them crashed at once, one would find the other's
/// log. So they share a lock: trace, log and report of one process are complete before the next
/// process begins.
#pragma once

#include <sys/types.h>

namespace hcrpt::SiblingLock {

/// Maps the memory that this process shares with all children that it forks from now on. Later
/// calls do nothing, in such a child as well. @ordinary
/// @return whether the memory is there. Without it acquire() does nothing.
bool prepare();

/// How far the process that holds the lock has got.
enum class Stage : int { started, traceCopied, reported };

/// Waits until no sibling crashes any more, then takes the lock. The kernel releases it when this
/// thread ends, in whatever way. A sibling that exceeds its deadlines, because it is stopped, is
/// not waited for any longer. @signalsafe
void acquire();

/// Takes the lock without waiting, where no sibling crashes. Makes no system call but getpid().
/// @return true when no sibling has it. @signalsafe
bool tryAcquire();

/// How long after taking the lock a process counts as stuck, in seconds: somewhat more than its
/// watchdog allows. Tests shorten it.
extern long maxHoldSeconds;

/// Records the progress of this process for the sibling that comes next. Does nothing in a process
/// that does not hold the lock. @signalsafe
void note(Stage stage);

/// The process that held the lock before this one.
struct Predecessor {
    pid_t id = 0;  ///< 0: there was none
    Stage stage = Stage::started;
};
/// Meaningful after acquire(); before it, there is none. @signalsafe
Predecessor predecessor();

}  // namespace hcrpt::SiblingLock

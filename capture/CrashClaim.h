/// @file
/// Which thread of which process crashes.
#pragma once

namespace hcrpt::CrashClaim {

/// Longer than the crash handler takes with all its waits. It bounds the waits for its end.
constexpr int kMaxCrashSeconds = 600;  // seconds

enum class Claim {
    taken,          ///< the calling thread handles the crash
    withinHandler,  ///< a fault of the thread that handles it already
    otherThread,    ///< another thread of this process handles one
};

/// Prepares telling this process from children that share its memory. @ordinary
void prepare();

/// Returns true when the memory belongs to another process: the calling one is a child of vfork()
/// or of the like. What it changed would stay changed in that process. @signalsafe
bool isMemoryBorrowed();
/// Returns true when the owner of borrowed memory crashes. @signalsafe
bool doesOwnerCrash();
/// Says that the memory is the calling process's own: after it was copied. @signalsafe
void ownMemory();

/// Claims the crash for the calling thread. The first one has it; a mark that another process left
/// in memory that was copied since does not count. Needs some 200 bytes of stack: where they are
/// missing, it faults before it has claimed anything. @signalsafe
Claim claim(int signal);

/// The signal of the crash that has been claimed; 0 where this process does not crash. @signalsafe
int signalOfCrash();
/// Returns true while another thread of this process handles a crash. @signalsafe
bool isOfOtherThread();
/// Waits for the end of the process, for kMaxCrashSeconds at most. @signalsafe
void awaitEnd();

}  // namespace hcrpt::CrashClaim

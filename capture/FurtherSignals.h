/// @file
/// Fatal signals while the crash handler runs.
#pragma once

namespace hcrpt {

/// From now on a fatal signal of another process is ignored, and the other signals are blocked in
/// the calling thread: an impatient watchdog must not end the crash handler before its report is
/// written. A fault of the crash handler, and its own abort(), ends the process; a fault of another
/// thread waits for the end. Gives the calling thread an alternate stack for such a fault: on the
/// one before it may lie what the trace is taken from. Not to be called on that one. @signalsafe
void handleFurtherSignals();

}  // namespace hcrpt

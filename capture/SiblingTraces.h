/// @file
/// What a sibling that crashed before has left in the crash store.
#pragma once

namespace hcrpt::SiblingTraces {

/// Reserves the texts that clear() needs. Only the first call counts. @ordinary
void prepare();

/// Removes trace and log of the predecessor (see SiblingLock) from the crash store, so that this
/// process does not take that log for its own. If the predecessor ended before its report was
/// written, they are kept under the predecessor's own process id, and that id is registered, so
/// that the crash reporter writes the report. For the crash stack. @signalsafe
void clear(const char* crashStore);

/// Returns true when the log cannot be the predecessor's: there is no predecessor, or the log is
/// not older than the trace. The crash reporter may have been converting the predecessor's trace
/// when clear() removed it. For the crash stack. @signalsafe
bool isOwnLog(const char* crashStore, const char* log);

}  // namespace hcrpt::SiblingTraces

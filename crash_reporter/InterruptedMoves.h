/// @file
/// Reports whose filing was interrupted.
#pragma once

namespace crash_reporter {

/// Removes reports from the crash store that have an identical copy in the backup store, filed as
/// sent or as failed, and logs each. A crash reporter or pass that is killed after it has copied a
/// report into the backup store and before it has removed it leaves both; without this the report
/// would be sent again. Call it while no pass runs.
void finishInterruptedMoves();

}  // namespace crash_reporter

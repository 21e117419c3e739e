/// @file
/// Reports whose filing was interrupted.
#pragma once

namespace crash_reporter {

/// A crash reporter that is killed between the copy of a report into the backup store and its
/// removal from the crash store leaves both. Removes such reports from the crash store, so that
/// they are not sent again: those of which an identical copy is filed as sent or as failed. A line
/// of the log for each. At the start only: later the store is this process's own business.
void finishInterruptedMoves();

}  // namespace crash_reporter

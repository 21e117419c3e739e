/// @file
/// Writes reports of processes that could not write their own, and removes stale files.
#pragma once

#include "hcrpt/HCrptExport.h"

/// Grade of all operations: @ordinary. Threads: one. The only exceptions are the standard ones of
/// exhausted memory.
namespace HCrashReporter {

/// Writes the facts of this process that cannot be read after its end (program, product, build,
/// command line, user, start time) into a hidden file of the crash store that only its owner can
/// read. registerThisProcess() calls it after it has written the record. A later call replaces the
/// file. Texts are cut after 32 KiB. No messages.
HCRPT_EXPORT void leaveProcessFacts();

/// Crash reporter: writes a report for each raw trace of the crash store whose process ended
/// without a report, for example because its heap was corrupt or because it was killed while it
/// waited for its log.
///
/// It considers only processes that are registered on this machine, and each trace once in the life
/// of the crash reporter. It writes no report if the crash store or the backup store has a report
/// with the process's id that is not older than the trace, or a report of a forked child with the
/// same frames. If a process of another machine is registered under the same id, the trace may be
/// that process's, and no report is written.
///
/// The report has the name that the process itself would have given it, with the time of its raw
/// trace. It lacks the use of memory and processor, which only the living process knew, and the
/// process's facts if it has left none. The additional item "writtenBy" marks it.
///
/// A child process writes each report and has 30 seconds for it. Prints a line for each report, and
/// for each report that could not be written.
/// @return the number of reports written.
HCRPT_EXPORT int writeMissingReports();

/// Crash reporter, at its start and after a pass that was killed: removes the temporary files that
/// killed processes have left in the crash store and the backup store, and the facts of processes
/// that need no report any more. Files of running processes of this machine stay; files that may
/// belong to another machine stay for an hour. No messages.
HCRPT_EXPORT void clearLeftovers();

}  // namespace HCrashReporter

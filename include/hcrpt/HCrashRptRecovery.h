/// @file
/// Reports of processes that could not write their own, and what killed processes leave behind.
#pragma once

#include "hcrpt/HCrptExport.h"

/// Grade of all operations: @ordinary. One thread. Nothing is thrown but the standard exceptions of
/// exhausted memory.
namespace HCrashReporter {

/// Leaves in the crash store, in a hidden file for its owner only, what a report tells about this
/// process and nobody can ask for once it has ended: program, product, build, command line, user,
/// start time. registerThisProcess() calls it once the record is written. Silent; a later call
/// replaces what an earlier one has left; texts are cut after 32 KiB.
HCRPT_EXPORT void leaveProcessFacts();

/// Crash reporter: writes a report for each raw trace of the crash store whose process has ended
/// without one, because its heap was in disorder, say, or it was killed while it waited for its
/// log.
///
/// That is done for processes that are registered on this machine, once for each trace in the life
/// of this process, and not where a report came: one with the process's id, in the crash store or
/// the backup store, that is not older than the trace, or one of a forked child, which has the
/// same frames. Where a process of another machine is registered under the same id, it cannot be
/// told whose trace it is, and no report is written.
///
/// The report has the name that the process itself would have given it, with the time of its raw
/// trace. It lacks what only the living process could tell (use of memory and processor); where the
/// process has left no facts, those too. Its additional item "writtenBy" marks it.
///
/// Each report is put together in a child process that has 30 seconds for it. Prints a line for
/// each report, and for each that could not be written.
/// @return how many reports were written.
HCRPT_EXPORT int writeMissingReports();

/// Crash reporter, at its start and after a pass that was killed: removes the temporary files that
/// killed processes have left in the crash store and the backup store, and facts of processes that
/// need no report any more. What a running process of this machine writes stays, and what may be
/// another machine's for an hour. Silent.
HCRPT_EXPORT void clearLeftovers();

}  // namespace HCrashReporter

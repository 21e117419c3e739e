/// @file
/// Finds out whether a crash has been reported already.
#pragma once

#include "store/RawTraces.h"

namespace hcrpt {

/// Returns true when a report with the process's id and of this machine, not older than its trace,
/// lies in the crash store or, under any outcome, in the backup store. Ids are used again: an older
/// report is of an earlier process. An empty file is no report. A report without a stack, from a
/// process whose log did not come in time, does not count where the trace shows frames: a second,
/// complete one is missing.
[[nodiscard]] bool hasReport(const RawTrace& trace);

/// Returns true when a report under another process's id, not older than the trace, shows the
/// frames of the trace's stack-trace log: a forked child leaves its trace under its parent's id,
/// its report under its own.
[[nodiscard]] bool hasReportOfForkedChild(const RawTrace& trace);

}  // namespace hcrpt

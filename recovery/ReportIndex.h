/// @file
/// Finds out whether a crash has been reported already.
#pragma once

#include "store/RawTraces.h"

namespace hcrpt {

/// Returns true when a report with the process's id and of this machine, not older than its trace,
/// lies in the crash store or, under any outcome, in the backup store. Ids are used again: an older
/// report is of an earlier process. An empty file is no report.
[[nodiscard]] bool hasReport(const RawTrace& trace);

/// Returns true when a report under another process's id, not older than the trace, shows the
/// frames of the trace's stack-trace log: a forked child leaves its trace under its parent's id,
/// its report under its own.
[[nodiscard]] bool hasReportOfForkedChild(const RawTrace& trace);

}  // namespace hcrpt

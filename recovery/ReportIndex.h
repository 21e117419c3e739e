/// @file
/// Whether a crash has been reported already.
#pragma once

#include <string>

#include "recovery/RawTraces.h"

namespace hcrpt {

/// Whether a report with the process's id and of this machine, not older than its trace, lies in
/// the crash store or, under whatever outcome, in the backup store. Ids are used again: an older
/// report is of an earlier process. An empty file is no report.
bool hasReport(const RawTrace& trace);

/// Whether a report under another process's id, not older than the trace, shows the frames of the
/// trace's stack-trace log: a forked child leaves its trace under its parent's id, its report under
/// its own.
bool hasReportOfForkedChild(const RawTrace& trace);

/// Time in the name of a report of that trace.
std::string timeStampOf(const RawTrace& trace);

}  // namespace hcrpt

// Which raw traces are left without a report, and who writes them.
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "HUTFile.h"
#include "base/BoundedChild.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "recovery/RecoveredReport.h"
#include "recovery/Registrations.h"
#include "recovery/ReportIndex.h"
#include "store/RawTraces.h"
#include "store/TraceMemory.h"
#include "utils/Message.h"

namespace {

using hcrpt::ChildEnd;
using hcrpt::RawTrace;
using hcrpt::TraceMemory;

/// Crashing processes wait 100 seconds for their logs, which nobody makes meanwhile.
constexpr std::chrono::seconds kTimeForReport{30};

/// Returns true for a trace that needs no further check.
bool isJudged(const RawTrace& trace) {
    return TraceMemory::ofLibrary().isJudged(trace.path, trace.identity);
}

/// A log that is older than the trace is an earlier process's of the same id.
bool hasLog(const RawTrace& trace) {
    const auto log = hcrpt::TraceIdentity::of(trace.logPath);
    return log && !hcrpt::isBefore(log->modified, trace.time());
}

/// @return whether there is one now; not where a forked child's had come.
bool writeReport(const RawTrace& trace, ChildEnd& end) {
    const std::string path = hcrpt::reportPath(trace);
    hcrpt::printRaw("");  // otherwise the child, too, writes what the stream's buffer holds
    const auto write = [&]() -> std::optional<std::string> {
        if (!hasLog(trace)) HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(trace.path);
        if (hcrpt::hasReportOfForkedChild(trace) || hcrpt::writeRecoveredReport(trace, path))
            return "";
        return std::nullopt;
    };
    end = hcrpt::runInForkedChild(write, {kTimeForReport, {}}).end;
    if (end != ChildEnd::answered) {
        hcrpt::logError("Could not write a crash report in place of ended process " +
                        trace.processId + ".");
        return false;
    }
    if (!HUTFile::exists(path)) return false;
    hcrpt::logInfo("Wrote crash report in place of ended process " + trace.processId + ": " + path);
    return true;
}

}  // namespace

namespace HCrashReporter {

int writeMissingReports() {
    std::vector<RawTrace> traces = hcrpt::rawTracesInStore();
    traces.erase(std::remove_if(traces.begin(), traces.end(), isJudged), traces.end());
    if (traces.empty()) return 0;

    const hcrpt::Registrations registrations;
    int written = 0;
    for (const RawTrace& trace : traces) {
        // First whether it has ended: what it may have written is in the store then.
        if (!registrations.isOfThisMachine(trace.processId) ||
            !hcrpt::hasEnded(trace.processId, trace.time()))
            continue;
        // Each trace is tried once, whatever the result: one that always fails would be tried
        // forever.
        TraceMemory::ofLibrary().setJudged(trace.path, trace.identity);
        if (hcrpt::hasReport(trace)) continue;
        ChildEnd end = ChildEnd::failed;
        if (writeReport(trace, end)) ++written;
        // The others get their turn in the next pass, after what crashing processes wait for.
        if (end == ChildEnd::timedOut) break;
    }
    return written;
}

}  // namespace HCrashReporter

// Which raw traces are left without a report, and who writes them.
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "recovery/BoundedChild.h"
#include "recovery/RawTraces.h"
#include "recovery/RecoveredReport.h"
#include "recovery/Registrations.h"
#include "recovery/ReportIndex.h"
#include "utils/Message.h"

namespace {

using hcrpt::ChildResult;
using hcrpt::RawTrace;

/// Crashing processes wait 100 seconds for their logs, which nobody makes meanwhile.
constexpr std::chrono::seconds kTimeForReport{30};

/// Traces that need no further look, by their paths. Grows with the crashes of a session only.
std::unordered_map<std::string, RawTrace>& doneTraces() {
    static std::unordered_map<std::string, RawTrace> traces;
    return traces;
}

bool isDone(const RawTrace& trace) {
    const auto done = doneTraces().find(trace.path);
    return done != doneTraces().end() && done->second == trace;
}

/// A log that is older than the trace is an earlier process's of the same id.
bool hasLog(const RawTrace& trace) {
    struct stat status = {};
    return stat(trace.logPath.c_str(), &status) == 0 &&
           !hcrpt::isBefore(status.st_mtim, trace.time);
}

/// @return whether there is one now; not where a forked child's had come.
bool writeReport(const RawTrace& trace, ChildResult& result) {
    const std::string path = hcrpt::reportPath(trace);
    result = hcrpt::runInChild(
        [&] {
            if (!hasLog(trace))
                HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(trace.path);
            return hcrpt::hasReportOfForkedChild(trace) || hcrpt::writeRecoveredReport(trace, path);
        },
        kTimeForReport);
    if (result != ChildResult::succeeded) {
        hcrpt::printError("Could not write a crash report in place of ended process " +
                          trace.processId + ".");
        return false;
    }
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return false;
    hcrpt::printMessage("Wrote crash report in place of ended process " + trace.processId + ": " +
                        path);
    return true;
}

}  // namespace

namespace HCrashReporter {

int writeMissingReports() {
    std::vector<RawTrace> traces = hcrpt::rawTracesInStore();
    traces.erase(std::remove_if(traces.begin(), traces.end(), isDone), traces.end());
    if (traces.empty()) return 0;

    const hcrpt::Registrations registrations;
    int written = 0;
    for (const RawTrace& trace : traces) {
        // First whether it has ended: what it may have written is in the store then.
        if (!registrations.isOfThisMachine(trace.processId) ||
            !hcrpt::hasEnded(trace.processId, trace.time))
            continue;
        // Whatever comes of it, once: a trace that cannot be dealt with would be tried for ever.
        doneTraces()[trace.path] = trace;
        if (hcrpt::hasReport(trace)) continue;
        ChildResult result = ChildResult::failed;
        if (writeReport(trace, result)) ++written;
        // The others get their turn in the next pass, after what crashing processes wait for.
        if (result == ChildResult::timedOut) break;
    }
    return written;
}

}  // namespace HCrashReporter

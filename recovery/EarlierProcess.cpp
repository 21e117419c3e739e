#include "recovery/EarlierProcess.h"

#include <unistd.h>

#include <optional>
#include <string>

#include "HUTEnv.h"
#include "facts/ProcessState.h"
#include "recovery/ReportIndex.h"
#include "settings/FileNames.h"
#include "store/RawTraces.h"
#include "store/SessionPaths.h"

namespace hcrpt {
namespace {

/// The trace under this process's id, existing or not.
std::string tracePath(const std::string& processId) {
    return pathInCrashStore(kRawTracePrefix + processId + kTraceExtension);
}

void removeTraces() {
    const std::string processId = std::to_string(HUTEnv::getPid());
    const std::string path = tracePath(processId);
    const std::string log = stackTraceLogOf(path);
    const auto isEarlier = [&](const std::optional<TraceIdentity>& file) {
        return file && isOfEarlierProcess(file->modified, processId);
    };
    const auto trace = TraceIdentity::of(path);
    if (trace && (!isEarlier(trace) || !hasReport({{path, log, *trace}, processId}))) return;
    if (trace) unlink(path.c_str());
    if (isEarlier(TraceIdentity::of(log))) unlink(log.c_str());
}

}  // namespace

void removeTracesOfEarlierProcess() noexcept {
    try {
        removeTraces();
    } catch (...) {
        // Out of memory: the host goes on without it.
    }
}

}  // namespace hcrpt

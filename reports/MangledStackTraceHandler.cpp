#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "base/OpenStream.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"
#include "reports/TraceDemangling.h"
#include "settings/FileNames.h"
#include "store/AtomicFile.h"
#include "store/FileListing.h"
#include "store/TraceMemory.h"

namespace {

/// Length of "hs_mangled_err_pid"; the process id follows it in a raw trace's name.
constexpr std::size_t kMinimumPathLength = 18;

using hcrpt::TraceMemory;

/// Returns the raw traces that this pass has to demangle. The number of traces of a session only
/// grows, so a pass skips those whose final logs this process has written already.
std::vector<std::string> notYetDemangled(const std::vector<std::string>& rawTraces) {
    TraceMemory& memory = TraceMemory::ofLibrary();
    memory.keepOnly(rawTraces);
    std::vector<std::string> others;
    for (const std::string& trace : rawTraces)
        if (memory.isDemangled(trace) != TraceMemory::Demangled::yes) others.push_back(trace);
    return others;
}

}  // namespace

namespace HCrashReportMgr {

std::vector<std::string> MangledStackTraceHandler::getReportsInCrashStore() {
    const std::vector<std::vector<std::string>> found =
        hcrpt::filesWithPrefixes({HCrashRptSettings::getMangledStackTraceFilePrefix(),
                                  HCrashRptSettings::getCrashRptPrefix()},
                                 HCrashRptSettings::getCrashStorePath());
    const std::vector<std::string> traces = notYetDemangled(found[0]);
    if (traces.empty()) return found[1];
    // Only the files matter here: crashing processes wait for their stack-trace logs.
    generateDemangledBTFiles(traces);
    // Lists again, because a process may have written its report meanwhile. The base has no virtual
    // destructor, so the handler is deleted through its own type.
    const std::unique_ptr<CompleteCrashReportHandler> reports(
        static_cast<CompleteCrashReportHandler*>(
            getReportHandler(HCrashRptSettings::COMPLETE_CRASH_REPORT)));
    return reports->getReportsInCrashStore();
}

std::vector<std::string> MangledStackTraceHandler::generateDemangledBTFiles(
    const std::vector<std::string>& rawTraces) {
    std::vector<std::string> logs;
    logs.reserve(rawTraces.size());
    for (const std::string& rawTrace : rawTraces) logs.push_back(demangleBTFile(rawTrace));
    return logs;
}

std::string MangledStackTraceHandler::demangleBTFile(const std::string& rawTrace) {
    // Contract: throws, unlike all other failures: no path of a raw trace is that short, so the
    // caller is at fault.
    if (rawTrace.size() < kMinimumPathLength)
        throw std::out_of_range("too short for a raw trace: " + rawTrace);

    // Contract: removes the first mark of the whole path, even one in a directory's name.
    const std::size_t mark = rawTrace.find(hcrpt::kRawTraceMark);
    if (mark == std::string::npos) return std::string();
    std::string log = rawTrace;
    log.erase(mark, std::strlen(hcrpt::kRawTraceMark));

    if (hcrpt::isNamedPipe(rawTrace))
        return log;  // opening it would delay all processes that wait for other traces
    const auto asRead = hcrpt::TraceIdentity::of(rawTrace);
    std::ifstream raw(rawTrace, std::ios::binary);
    if (!raw.is_open()) return log;
    // A crashing process continues as soon as the log exists, so it must appear complete.
    hcrpt::AtomicFile readable(log);
    if (!readable.isOpen()) return log;
    hcrpt::demangleTrace(raw, readable.stream());
    const bool isWhole = readable.stream().flush().good() && !raw.bad();
    // Keeps the log when a full disk cut it short: half a trace tells more than none.
    if (readable.commitPart() && isWhole && asRead)
        TraceMemory::ofLibrary().setDemangled(rawTrace, *asRead, log);
    return log;
}

}  // namespace HCrashReportMgr

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"
#include "reports/ConvertedTraces.h"
#include "reports/TraceDemangling.h"
#include "utils/AtomicFile.h"
#include "utils/FileListing.h"
#include "utils/OpenStream.h"

namespace {

constexpr char kMangledMark[] = "mangled_";
/// Length of "hs_mangled_err_pid", after which a raw trace's bare name shows its process id.
constexpr std::size_t kMinimumPathLength = 18;

}  // namespace

namespace HCrashReportMgr {

std::vector<std::string> MangledStackTraceHandler::getReportsInCrashStore() {
    const std::vector<std::vector<std::string>> found =
        hcrpt::filesWithPrefixes({HCrashRptSettings::getMangledStackTraceFilePrefix(),
                                  HCrashRptSettings::getCrashRptPrefix()},
                                 HCrashRptSettings::getCrashStorePath());
    const std::vector<std::string> traces = hcrpt::withoutConverted(found[0]);
    if (traces.empty()) return found[1];
    // Wanted for the files that it leaves: crashing processes wait for their stack-trace logs.
    generateDemangledBTFiles(traces);
    // Listed again: a process may have written its report meanwhile.
    // The base has no virtual destructor: the handler is released as what it is.
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
    // On purpose an exception: no path to a raw trace is that short, so the caller is at fault.
    if (rawTrace.size() < kMinimumPathLength)
        throw std::out_of_range("too short for a raw trace: " + rawTrace);

    // The first one of the whole path, whose directories count too.
    const std::size_t mark = rawTrace.find(kMangledMark);
    if (mark == std::string::npos) return std::string();
    std::string log = rawTrace;
    log.erase(mark, std::strlen(kMangledMark));

    if (hcrpt::isNamedPipe(rawTrace)) return log;  // would hold up all that wait for other traces
    const hcrpt::TraceConversion conversion(rawTrace);
    std::ifstream raw(rawTrace, std::ios::binary);
    if (!raw.is_open()) return log;
    // A crashing process goes on as soon as the log exists, so it appears whole.
    hcrpt::AtomicFile readable(log);
    if (!readable.isOpen()) return log;
    hcrpt::demangleTrace(raw, readable.stream());
    const bool isWhole = readable.stream().flush().good() && !raw.bad();
    // Also when the disk was full: half a trace tells more than none.
    if (readable.commitPart() && isWhole) conversion.finish(log);
    return log;
}

}  // namespace HCrashReportMgr

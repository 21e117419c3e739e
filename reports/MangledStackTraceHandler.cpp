#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/WholeFile.h"

namespace {

constexpr char kMangledMark[] = "mangled_";
/// Length of "hs_mangled_err_pid", after which a raw trace's bare name shows its process id.
constexpr std::size_t kMinimumPathLength = 18;

/// Frames that say nothing about the fault: of this library, whose name holds the first word, and
/// of the in-house stream library.
constexpr const char* kUnwantedFrames[] = {"HCrashReporter", "libopx_iostreams"};

bool isUnwanted(const std::string& line) {
    for (const char* word : kUnwantedFrames)
        if (line.find(word) != std::string::npos) return true;
    return false;
}

/// Cuts the directories off in the line's own memory: a line may be too long for the stack.
void removePath(std::string& line) {
    HCrashRptUtils::removeFullPathToLibrary(line.data());
    line.resize(std::strlen(line.c_str()));
}

void makeReadable(std::istream& raw, std::ostream& readable) {
    std::string line;
    while (std::getline(raw, line)) {
        if (line.empty()) continue;
        removePath(line);
        // Looked at once its path is gone, so that a directory's name never hides a frame.
        if (isUnwanted(line)) continue;
        // A line of which nothing is left is written as an empty one.
        readable << HCrashRptUtils::demangle(line) << '\n';
    }
}

}  // namespace

namespace HCrashReportMgr {

std::vector<std::string> MangledStackTraceHandler::getReportsInCrashStore() {
    // Wanted for the files that it leaves: dying processes wait for their readable logs.
    generateDemangledBTFiles(
        HCrashRptUtils::getFilesWithPrefix(HCrashRptSettings::getMangledStackTraceFilePrefix(),
                                           HCrashRptSettings::getCrashStorePath()));
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

    std::ifstream raw(rawTrace, std::ios::binary);
    if (!raw.is_open()) return log;
    // A dying process goes on as soon as the log exists, so it appears whole.
    hcrpt::WholeFile readable(log);
    if (!readable.isOpen()) return log;
    makeReadable(raw, readable.stream());
    // Also when the disk was full: half a trace tells more than none.
    readable.commitPart();
    return log;
}

}  // namespace HCrashReportMgr

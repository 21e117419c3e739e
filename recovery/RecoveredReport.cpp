#include "recovery/RecoveredReport.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "base/ControlCharacters.h"
#include "facts/ProcessFacts.h"
#include "facts/ProcessIdScope.h"
#include "facts/ProcessState.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "recovery/WrittenBy.h"
#include "settings/FileNames.h"
#include "settings/GuiStrDump.h"
#include "store/ReportName.h"
#include "store/SessionPaths.h"
#include "utils/TimeText.h"
#include "writers/JsonReport.h"

namespace hcrpt {
namespace {

using HCrashRptMetaData::Manager;

/// Returns true for facts that a process left which began after the crash: it has the id of the
/// crashed one, and has replaced that one's facts.
bool areOfLaterProcess(const ProcessFacts& facts, const RawTrace& trace) {
    if (facts.bootId.empty() || facts.bootId != bootId()) return false;
    const auto start = wallClockStart(facts.startTime);
    return start && isBefore(trace.time(), *start);
}

std::optional<ProcessFacts> factsOf(const RawTrace& trace) {
    auto facts = readFacts(factsPath(HUTEnv::getHostName(), trace.processId));
    if (facts && areOfLaterProcess(*facts, trace)) facts.reset();
    return facts;
}

/// Returns true when a file name may hold the text: nothing in the crash store vouches for it.
bool isUserName(const std::string& text) {
    constexpr std::size_t kMaxLength = 64;  // bytes
    if (text.empty() || text.size() > kMaxLength) return false;
    return text.find('/') == std::string::npos && std::none_of(text.begin(), text.end(), isControl);
}

std::string userOf(const RawTrace& trace) {
    const auto facts = factsOf(trace);
    return facts && isUserName(facts->userName) ? facts->userName : HUTEnv::getUserName();
}

/// Adds what the probe adds; what cannot be found out is left out.
template <typename Probe>
void tryTo(const Probe& probe) {
    try {
        probe();
    } catch (...) {
    }
}

void addProgram(Manager& report, const ProcessFacts& facts) {
    report.addItem("programName", facts.programName);
    report.addItem("productVersion", facts.productVersion);
    report.addItem("buildNumber", facts.buildNumber);
    report.addItem("buildDate", facts.buildDate);
    report.addItem("commandLine", facts.commandLine);
    report.addItem("testcase", facts.testcase);
}

void addMachine(Manager& report) {
    tryTo([&] { report.addItem("osInfo", report.extract_osInfo()); });
    tryTo([&] { report.addItem("cpuInfo", report.extract_cpuModel()); });
    tryTo([&] { report.addItem("memInfo", report.extract_memInfo()); });
}

void addGuiStrDump(Manager& report, const ProcessFacts& facts, const std::string& processId) {
    // Facts are taken on trust no further than that: the dump lies in the launch directory itself.
    if (facts.productName.find('/') != std::string::npos) return;
    const std::string dump = guiStrDumpPath(facts.productName, processId);
    struct stat status = {};
    if (stat(dump.c_str(), &status) == 0 && S_ISREG(status.st_mode))
        report.appendToMetaData("gui-str-dump", dump);
}

}  // namespace

std::string reportPath(const RawTrace& trace) {
    return pathInCrashStore(reportFileName({trace.processId, HUTEnv::getHostName(), userOf(trace),
                                            reportTimeStamp(trace.time().tv_sec)},
                                           kReportExtension));
}

bool writeRecoveredReport(const RawTrace& trace, const std::string& path) {
    HCrptResourceMgr::get();  // where the nodes lie
    const auto facts = factsOf(trace);
    Manager report;
    // In the order of the process's own report.
    report.addItem("timestamp", timeText(trace.time().tv_sec));
    if (facts) addProgram(report, *facts);
    addMachine(report);
    // Before the long lists, of which an exhausted arena cuts off the end.
    report.addItem(kWrittenByKey, kWrittenBy);
    report.appendToMetaData("stack-trace", trace.logPath);
    if (facts) addGuiStrDump(report, *facts, trace.processId);
    return writeJsonReport(path, report) && HUTFile::exists(path);
}

}  // namespace hcrpt

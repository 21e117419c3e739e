#include "recovery/ReportIndex.h"

#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "recovery/WrittenBy.h"
#include "settings/FileNames.h"
#include "store/ReportName.h"

namespace hcrpt {
namespace {

/// Reports are small; what is larger is not looked into.
constexpr off_t kMaxReportBytes = 16L * 1024 * 1024;  // bytes

/// Lines of a log that every crash by the same signal has.
constexpr std::size_t kHeaderLines = 4;

struct Report {
    std::string path;
    std::string name;
    std::timespec time = {};
    off_t size = 0;
};

/// Regular, non-empty files that begin so. The crash store comes first: a report is copied to the
/// backup store before it leaves the crash store, so it is always found in one of them.
std::vector<Report> reportsWithPrefix(const std::string& prefix) {
    std::vector<Report> reports;
    for (const std::string& directory :
         {HCrashRptSettings::getCrashStorePath(), HCrashRptSettings::getCrashBackupStorePath()}) {
        for (const std::string& path : HCrashRptUtils::getFilesWithPrefix(prefix, directory)) {
            struct stat status = {};
            if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
                status.st_size == 0)
                continue;
            reports.push_back({path, HUTFile(path).getName(), status.st_mtim, status.st_size});
        }
    }
    return reports;
}

/// The report as a JSON object; one without members when the file holds anything else.
rapidjson::Document objectIn(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    rapidjson::IStreamWrapper stream(file);
    rapidjson::Document document;
    document.ParseStream<rapidjson::kParseIterativeFlag>(stream);
    if (document.HasParseError() || !document.IsObject()) document.SetObject();
    return document;
}

/// The lines of the stack trace in a report; empty when it has none.
std::vector<std::string> traceIn(const rapidjson::Document& report) {
    std::vector<std::string> lines;
    const auto trace = report.FindMember("stacktrace");
    if (trace == report.MemberEnd() || !trace->value.IsArray()) return lines;
    for (const auto& line : trace->value.GetArray())
        lines.emplace_back(line.IsString() ? line.GetString() : "");
    return lines;
}

/// The frames in a report that the crashed process wrote itself; empty for anything else.
std::vector<std::string> ownTraceIn(const std::string& path) {
    const rapidjson::Document report = objectIn(path);
    return report.HasMember(kWrittenByKey) ? std::vector<std::string>() : traceIn(report);
}

/// Returns true for a report from which only the stack is missing: one that the process itself
/// wrote, and wrote whole.
bool lacksStack(const Report& report) {
    if (report.size > kMaxReportBytes) return false;
    const rapidjson::Document content = objectIn(report.path);
    return content.MemberCount() > 0 && !content.HasMember(kWrittenByKey) &&
           traceIn(content).empty();
}

std::vector<std::string> linesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.emplace_back(line.c_str());
    return lines;
}

/// Returns true when a raw trace holds the line of any frame. It may be cut off anywhere.
bool showsFrames(const std::string& rawTrace) {
    for (const std::string& line : linesOf(rawTrace))
        if (line.find("[0x") != std::string::npos) return true;
    return false;
}

/// Returns true when the report shows the log's lines from the top on, with some frames among them.
/// Addresses differ between processes, except between a parent and its forked child.
bool isSameTrace(const std::vector<std::string>& reported, const std::vector<std::string>& log) {
    if (reported.size() <= kHeaderLines || reported.size() > log.size()) return false;
    return std::equal(reported.begin(), reported.end(), log.begin());
}

}  // namespace

bool hasReport(const RawTrace& trace) {
    const std::string prefix = reportNamePrefix(trace.processId, HUTEnv::getHostName());
    // The two stores may be on machines whose clocks differ; the time in the name does not.
    const std::string ownTime = reportTimeStamp(trace.time().tv_sec);
    for (const Report& report : reportsWithPrefix(prefix)) {
        if (namesTime(report.name, ownTime)) return true;
        if (isBefore(report.time, trace.time())) continue;
        if (!lacksStack(report) || !showsFrames(trace.path)) return true;
    }
    return false;
}

bool hasReportOfForkedChild(const RawTrace& trace) {
    const std::string host = HUTEnv::getHostName();
    const std::vector<std::string> log = linesOf(trace.logPath);
    for (const Report& report : reportsWithPrefix(kReportPrefix))
        if (!isBefore(report.time, trace.time()) && report.size <= kMaxReportBytes &&
            namesHost(report.name, host) && isSameTrace(ownTraceIn(report.path), log))
            return true;
    return false;
}

}  // namespace hcrpt

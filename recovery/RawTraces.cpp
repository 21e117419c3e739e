#include "recovery/RawTraces.h"

#include <sys/stat.h>

#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"

namespace hcrpt {
namespace {

constexpr char kExtension[] = ".log";

/// The process id in a raw trace's name; empty for a name of another form.
std::string processIdIn(const std::string& name) {
    const std::size_t start = HCrashRptSettings::getMangledStackTraceFilePrefix().size();
    const std::string extension = kExtension;
    if (name.size() < start + extension.size()) return "";
    const std::size_t end = name.size() - extension.size();
    const std::string processId = name.substr(start, end - start);
    return name.substr(end) == extension && isProcessId(processId) ? processId : "";
}

}  // namespace

bool RawTrace::operator==(const RawTrace& other) const {
    return path == other.path && inode == other.inode && time.tv_sec == other.time.tv_sec &&
           time.tv_nsec == other.time.tv_nsec;
}

std::vector<RawTrace> rawTracesInStore() {
    const std::string store = HCrashRptSettings::getCrashStorePath();
    std::vector<RawTrace> traces;
    for (const std::string& path : HCrashRptUtils::getFilesWithPrefix(
             HCrashRptSettings::getMangledStackTraceFilePrefix(), store)) {
        RawTrace trace;
        trace.processId = processIdIn(HUTFile(path).getName());
        struct stat status = {};
        if (trace.processId.empty() || lstat(path.c_str(), &status) != 0 ||
            !S_ISREG(status.st_mode))
            continue;
        trace.path = path;
        trace.logPath = store + HUTFile::getDirSeparator() +
                        HCrashRptSettings::getDemangledStackTraceFilePrefix() + trace.processId +
                        kExtension;
        trace.time = status.st_mtim;
        trace.inode = status.st_ino;
        traces.push_back(trace);
    }
    return traces;
}

bool isProcessId(const std::string& text) {
    constexpr std::size_t kMaxDigits = 10;
    return !text.empty() && text.size() <= kMaxDigits &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

bool isBefore(const std::timespec& one, const std::timespec& other) {
    return one.tv_sec != other.tv_sec ? one.tv_sec < other.tv_sec : one.tv_nsec < other.tv_nsec;
}

}  // namespace hcrpt

#include "crash_reporter/RawTraces.h"

#include <sys/stat.h>

#include <ctime>
#include <vector>

#include "HUTFile.h"
#include "crash_reporter/Log.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

/// A pass demangles raw traces again, but for those that this process has demangled when
/// no further change could escape it: two seconds after the last one.
constexpr std::time_t kYoung = 3;

bool isYoung(const struct stat& status) {
    return status.st_ctim.tv_sec + kYoung > std::time(nullptr);
}

/// Of a raw trace in the crash store, whose own name tells what it is.
std::string logOf(const std::string& rawTrace) {
    const std::size_t name = rawTrace.rfind('/') + 1;
    const std::string prefix = HCrashRptSettings::getMangledStackTraceFilePrefix();
    return rawTrace.substr(0, name) + HCrashRptSettings::getDemangledStackTraceFilePrefix() +
           rawTrace.substr(name + prefix.size());
}

}  // namespace

void RawTraces::demangleNew() {
    std::map<std::string, State> seen;
    std::vector<std::string> grownOld;
    for (const std::string& rawTrace :
         HCrashRptUtils::getFilesWithPrefix(HCrashRptSettings::getMangledStackTraceFilePrefix(),
                                            HCrashRptSettings::getCrashStorePath())) {
        struct stat status = {};
        if (stat(rawTrace.c_str(), &status) != 0) continue;
        State state;
        state.identity = {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                          status.st_mtim.tv_nsec};
        state.young = isYoung(status);
        const std::string log = logOf(rawTrace);
        const auto before = m_seen.find(rawTrace);
        const bool known = before != m_seen.end() && before->second.identity == state.identity;
        if (!known || !HUTFile::exists(log)) {
            HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(rawTrace);
            state.failed = !HUTFile::exists(log);
            const bool told = known && before->second.failed;
            if (state.failed && !told)
                logError("Could not write the readable log of " + rawTrace +
                         ", trying again from time to time.");
        } else if (before->second.young && !state.young) {
            grownOld.push_back(rawTrace);
        }
        seen[rawTrace] = state;
    }
    m_seen = std::move(seen);
    // Behind those that crashing processes wait for.
    for (const std::string& rawTrace : grownOld)
        HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(rawTrace);
}

}  // namespace crash_reporter

#include "crash_reporter/RawTraces.h"

#include <sys/stat.h>

#include "HUTFile.h"
#include "crash_reporter/Log.h"
#include "hcrpt/HCrashReportMgr.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

/// Of a raw trace in the crash store, whose own name tells what it is.
std::string logOf(const std::string& rawTrace) {
    const std::size_t name = rawTrace.rfind('/') + 1;
    const std::string prefix = HCrashRptSettings::getMangledStackTraceFilePrefix();
    return rawTrace.substr(0, name) + HCrashRptSettings::getDemangledStackTraceFilePrefix() +
           rawTrace.substr(name + prefix.size());
}

}  // namespace

void RawTraces::makeReadable() {
    std::map<std::string, State> seen;
    for (const std::string& rawTrace :
         HCrashRptUtils::getFilesWithPrefix(HCrashRptSettings::getMangledStackTraceFilePrefix(),
                                            HCrashRptSettings::getCrashStorePath())) {
        struct stat status = {};
        if (stat(rawTrace.c_str(), &status) != 0) continue;
        State state;
        state.identity = {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                          status.st_mtim.tv_nsec};
        const std::string log = logOf(rawTrace);
        const auto before = m_seen.find(rawTrace);
        const bool known = before != m_seen.end() && before->second.identity == state.identity;
        if (!known || !HUTFile::exists(log)) {
            HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(rawTrace);
            state.failed = !HUTFile::exists(log);
            const bool told = known && before->second.failed;
            if (state.failed && !told)
                complain("Could not write the readable log of " + rawTrace +
                         ", trying again from time to time.");
        }
        seen[rawTrace] = state;
    }
    m_seen = std::move(seen);
}

}  // namespace crash_reporter

#include "crash_reporter/Registrations.h"

#include "hcrpt/HCrashRptUtils.h"
#include "utils/LockedAppend.h"

namespace crash_reporter {

bool appendRecords(const Records& records) {
    const int fd = HCrashRptUtils::fileOpen(HCrashRptSettings::getProcRegFileFullPath());
    if (fd == -1) return false;
    std::string text;
    for (const std::string& record : records) text += record + "\n";
    const bool written = hcrpt::appendUnderLock(fd, text) == static_cast<ssize_t>(text.size());
    HCrashRptUtils::fileClose(fd);
    return written;
}

}  // namespace crash_reporter

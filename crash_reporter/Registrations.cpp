#include "crash_reporter/Registrations.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "HUTEnv.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

Records recordsOf(std::istream& text) {
    return Records(std::istream_iterator<std::string>(text), {});
}

}  // namespace

Records recordsIn(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return recordsOf(file);
}

Records recordsIn(int fd) {
    std::string text;
    char buffer[4096];
    for (;;) {
        const ssize_t got = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()));
        if (got <= 0) break;
        text.append(buffer, static_cast<std::size_t>(got));
    }
    std::istringstream in(text);
    return recordsOf(in);
}

std::optional<std::string> localProcess(const std::string& record) {
    const HCrashReporter::HClientProcessInfo process(record);
    const std::string pid = process.getProcessId();
    constexpr std::size_t kMaxDigits = 9;
    const bool isNumber = !pid.empty() && pid.size() <= kMaxDigits &&
                          pid.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber || process.getHostName() != HUTEnv::getHostName()) return std::nullopt;
    return pid;
}

bool appendRecords(const Records& records) {
    const int fd = HCrashRptUtils::fileOpen(HCrashRptSettings::getProcRegFileFullPath());
    if (fd == -1) return false;
    const bool locked = HCrashRptUtils::fileLock(fd, "LOCK_EX|LOCK_NB") == 0;
    bool written = locked;
    if (locked) {
        std::string text;
        for (const std::string& record : records) text += record + "\n";
        written = HCrashRptUtils::fileWrite(fd, text) == static_cast<ssize_t>(text.size());
        HCrashRptUtils::fileLock(fd, "LOCK_UN");
    }
    HCrashRptUtils::fileClose(fd);
    return written;
}

}  // namespace crash_reporter

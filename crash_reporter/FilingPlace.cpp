#include "crash_reporter/FilingPlace.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"

namespace crash_reporter {
namespace {

/// Room for what the sum of the report sizes leaves out: names, and blocks that are partly used.
constexpr unsigned long kReserve = 64 << 10;

bool canChange(const std::string& directory) {
    return access(directory.c_str(), W_OK | X_OK) == 0;
}

bool hasRoomFor(const std::string& directory, const Reports& reports) {
    struct statvfs place = {};
    // Some file systems do not count.
    if (statvfs(directory.c_str(), &place) != 0 || place.f_blocks == 0) return true;
    unsigned long wanted = kReserve;
    for (const std::string& report : reports) {
        struct stat status = {};
        if (stat(report.c_str(), &status) == 0)
            wanted += static_cast<unsigned long>(status.st_size);
    }
    return place.f_bavail * place.f_frsize >= wanted;
}

}  // namespace

std::optional<std::string> obstacleToFiling(const Reports& waiting) {
    const std::string store = HCrashRptSettings::getCrashStorePath();
    if (!canChange(store))
        return "nothing can be removed from crash store " + store + " (" + std::strerror(errno) +
               ")";
    const std::string backup = HCrashRptSettings::getCrashBackupStorePath();
    errno = 0;
    if (!HUTFile::exists(backup) && !HUTFile(backup).mkDir())
        return "backup store " + backup + " cannot be made (" + std::strerror(errno) + ")";
    if (!canChange(backup))
        return "nothing can be written to backup store " + backup + " (" + std::strerror(errno) +
               ")";
    if (!hasRoomFor(backup, waiting)) return "no room is left in backup store " + backup;
    return std::nullopt;
}

}  // namespace crash_reporter

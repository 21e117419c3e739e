// The crash reporter's side of the registration file: making it.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HUTFile.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace {

/// Makes the file or cuts it to length zero. In its place, since a host may hold it open: a file
/// renamed over it would leave that host's record in one that nobody reads. For its owner only.
bool makeEmpty(const std::string& path) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0) return false;
    close(fd);
    return true;
}

}  // namespace

namespace HCrashReporter {

bool createProcessRegistrationFile() {
    const std::string path = HCrashRptSettings::getProcRegFileFullPath();
    if (HUTFile(path).exists()) {
        if (!isExitCondition()) return true;
        HCrashRptUtils::deleteCrashStore();
    }
    const bool haveStore = HCrashRptUtils::createCrashStore();
    // After the store, whose parent holds the log, and whatever became of it, so that the lines
    // below stand in the log.
    HCrashRptUtils::redirectStdoutToCrashLog();
    if (!haveStore) {
        // Two blanks before "so": part of the text.
        hcrpt::logError("Crash store could not be created,  so process registration file " + path +
                        " could not be created either.");
        return true;
    }
    if (!makeEmpty(path)) {
        hcrpt::logError("Could not create process registration file: " + path + " in crash store.");
        return true;
    }
    hcrpt::logInfo("Created Process registration file in crash store: " + path);
    return false;
}

}  // namespace HCrashReporter

// Decides when the crash reporter's work is over.
#include <fstream>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace HCrashReporter {

std::unordered_set<std::string> registeredProcSet;

namespace {

/// A host that has just started the crash reporter has this long to register.
constexpr int kContentPolls = 15;
constexpr int kPauseSeconds = 1;

/// Looks until the file has content. One that cannot be opened is not told from an empty one.
void waitForContent(const std::string& path) {
    std::ifstream file(path);
    for (int look = 0; look < kContentPolls; ++look) {
        file.clear();  // else the end that was seen last would hide what has come since
        if (file.peek() != std::ifstream::traits_type::eof()) return;
        HCrashRptUtils::sleep(kPauseSeconds);
    }
}

/// Writes each record into the log once. Before the redirection there is no log to write into.
void announce(const std::string& record) {
    if (!HCrashRptUtils::redirectedStdOut) return;
    if (!registeredProcSet.insert(record).second) return;
    hcrpt::logInfo("New process registration successfull for <hostname>:<pid> = " + record);
}

bool isRunningOnThisHost(const std::string& record) {
    const HClientProcessInfo process(record);
    return process.getHostName() == HUTEnv::getHostName() &&
           HCrashRptUtils::isProcessRunning(process.getProcessId());
}

/// Ends at the first record whose process runs: the others cannot change the answer.
bool isAnyRegisteredProcessRunning(const std::string& path) {
    std::ifstream file(path);
    std::string record;
    while (file >> record) {
        // Other machines' records are announced as well, though they are never waited for.
        announce(record);
        if (isRunningOnThisHost(record)) return true;
    }
    return false;
}

}  // namespace

bool isExitCondition() {
    const std::string path = HCrashRptSettings::getProcRegFileFullPath();
    bool over = true;
    if (HUTFile::exists(path)) {
        waitForContent(path);
        over = !isAnyRegisteredProcessRunning(path);
    }
    const bool reportsWait =
        !HCrashRptUtils::getFilesWithPrefix(HCrashRptSettings::getCrashRptPrefix(),
                                            HCrashRptSettings::getCrashStorePath())
             .empty();
    return over && !reportsWait;
}

}  // namespace HCrashReporter

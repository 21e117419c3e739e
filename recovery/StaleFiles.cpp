// What killed processes leave in the two stores.
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "base/Digits.h"
#include "facts/ProcessFacts.h"
#include "facts/ProcessState.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "recovery/Registrations.h"
#include "recovery/ReportIndex.h"
#include "settings/FileNames.h"
#include "store/RawTraces.h"
#include "store/SessionPaths.h"

namespace {

using hcrpt::isProcessId;

/// Names of files that become traces, logs and reports once they are complete: behind the prefix
/// comes the writer's process id, then one of the separator and more.
struct TemporaryName {
    const char* prefix;
    char separator;
};
constexpr TemporaryName kTemporaryNames[] = {
    {hcrpt::kAtomicFilePrefix,
     '-'},  // logs, reports, facts, reports on their way to the backup store
    {hcrpt::kCrashCopyPrefix, '_'},  // copies that crashing processes make
};

/// The longest that any writer needs is a minute.
constexpr std::time_t kOld = 3600;  // seconds

struct File {
    std::string path;
    std::string name;
    std::timespec time = {};
};

/// This user's regular files in a directory whose names begin so.
std::vector<File> filesWithPrefix(const std::string& prefix, const std::string& directory) {
    std::vector<File> files;
    for (const std::string& path : HCrashRptUtils::getFilesWithPrefix(prefix, directory)) {
        struct stat status = {};
        if (lstat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) ||
            status.st_uid != geteuid())
            continue;
        files.push_back({path, HUTFile(path).getName(), status.st_mtim});
    }
    return files;
}

/// The writer's process id; nothing for a name of another form.
std::optional<std::string> writerOf(const std::string& name, const TemporaryName& form) {
    const std::size_t start = std::string(form.prefix).size();
    const std::size_t end = name.find(form.separator, start);
    if (end == std::string::npos) return std::nullopt;
    const std::string processId = name.substr(start, end - start);
    if (!isProcessId(processId)) return std::nullopt;
    return processId;
}

/// @param otherMachines whether processes of other machines may write there, too: the names do not
///        tell the machine.
void clearTemporaryFiles(const std::string& directory, bool otherMachines) {
    for (const TemporaryName& form : kTemporaryNames) {
        for (const File& file : filesWithPrefix(form.prefix, directory)) {
            const auto writer = writerOf(file.name, form);
            if (!writer || HCrashRptUtils::isProcessRunning(*writer)) continue;
            if (otherMachines && std::time(nullptr) - file.time.tv_sec < kOld) continue;
            unlink(file.path.c_str());
        }
    }
}

/// Returns true when no process has the id and no trace is left that a report might still be
/// written for. While another process has the id, the facts tell that it is not the registered one.
bool areOfNoUse(const std::string& processId, const std::vector<hcrpt::RawTrace>& traces) {
    if (const auto state = hcrpt::processState(processId); state && !state->isOver) return false;
    for (const hcrpt::RawTrace& trace : traces)
        if (trace.processId == processId) return hcrpt::hasReport(trace);
    return true;
}

/// Those of other machines go with the crash store: nobody here knows whether their processes run.
void clearFacts(const std::string& directory) {
    const std::string prefix = hcrpt::factsNamePrefix(HUTEnv::getHostName());
    const std::vector<hcrpt::RawTrace> traces = hcrpt::rawTracesInStore();
    for (const File& file : filesWithPrefix(prefix, directory)) {
        const std::string processId = file.name.substr(prefix.size());
        if (isProcessId(processId) && areOfNoUse(processId, traces)) unlink(file.path.c_str());
    }
}

}  // namespace

namespace HCrashReporter {

void clearLeftovers() {
    const std::string store = HCrashRptSettings::getCrashStorePath();
    clearTemporaryFiles(store, hcrpt::Registrations().hasOtherMachines());
    // All sessions of the user share it, on whatever machine.
    clearTemporaryFiles(HCrashRptSettings::getCrashBackupStorePath(), true);
    clearFacts(store);
}

}  // namespace HCrashReporter

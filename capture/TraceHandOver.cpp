#include "capture/TraceHandOver.h"

#include <string>

#include "HUTFile.h"
#include "base/TextBuilder.h"
#include "capture/CrashOutput.h"
#include "capture/HeapProbe.h"
#include "capture/SiblingLock.h"
#include "capture/SiblingTraces.h"
#include "capture/StorePath.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace hcrpt {
namespace {

constexpr int kLogWaitTests = 100;  // one second apart

constexpr std::size_t kPathSize = 4096;  // bytes, as much as the system takes

/// Objects of the platform library, which takes its texts from the heap. Never destroyed: a process
/// may crash while it exits.
struct Prepared {
    HUTFile rawTrace{HCrptResourceMgr::getStacktraceTempFilePath()};
    HUTFile log{HCrptResourceMgr::getStacktraceLogPath()};
    // Room for any path, so that none is asked for in the crashing process.
    std::string crashStore;
    std::string logDirectory;

    Prepared() {
        crashStore.reserve(kPathSize);
        logDirectory.reserve(kPathSize);
    }
};
Prepared* s_prepared = nullptr;

// The store's path follows the environment of this moment.
const std::string& currentCrashStore() {
    char path[kPathSize];
    if (crashStorePath(path, sizeof path))
        s_prepared->crashStore.assign(path);
    else
        s_prepared->crashStore = HCrashRptSettings::getCrashStorePath();
    return s_prepared->crashStore;
}

const char* lastComponent(const std::string& path) {
    return path.c_str() + (path.rfind('/') + 1);
}

// The working directory of this moment; without the heap the one of the start, where the raw trace
// is.
const std::string& currentLogDirectory() {
    std::string& directory = s_prepared->logDirectory;
    if (heapIsUsable()) {
        directory = HCrashRptSettings::getStackTraceLogPath();
    } else {
        const std::string& rawTrace = HCrptResourceMgr::getStacktraceTempFilePath();
        directory.assign(rawTrace, 0, rawTrace.rfind('/'));
    }
    return directory;
}

bool haveCrashStore(const std::string& crashStore) {
    if (HUTFile::exists(crashStore)) return true;
    char path[kPathSize];
    TextBuilder text(path, sizeof path);
    if (!text.add(crashStore.c_str()).isCut()) makeDirectories(path);
    // Finds it made, or says why there is none.
    return HUTFile::exists(crashStore) || HCrashRptUtils::createCrashStore();
}

bool isLogThere(const std::string& crashStore) {
    const char* const log = HCrptResourceMgr::getStacktraceLogPath().c_str();
    return s_prepared->log.exists() && SiblingTraces::isOwnLog(crashStore.c_str(), log);
}

bool waitForLog(const std::string& crashStore) {
    for (int test = 0; test < kLogWaitTests; ++test) {
        if (isLogThere(crashStore)) return true;
        HCrashRptUtils::sleep(1);
    }
    return isLogThere(crashStore);
}

void tellWhere(const char* directory, const char* separator, const char* name) {
    putStdout("Please check this file for stacktrace: ");
    putStdout(directory);
    putStdout(separator);
    putStdout(name);
    putStdout("\n");
    flushStdout();
}

void handOver(bool copyRawTrace) {
    Watchdog::set(Watchdog::kCopies);
    TraceHandOver::prepare();
    const char* const rawTrace = HCrptResourceMgr::getStacktraceTempFilePath().c_str();
    const std::string& crashStore = currentCrashStore();
    if (!haveCrashStore(crashStore)) {
        tellWhere(rawTrace, "", "");
        // "<pid>" is meant literally.
        logInfo(
            "Could not copy hs_mangled_err_pid<pid>.log in the crash store in absence "
            "of a crashStore");
        return;
    }
    SiblingTraces::clear(crashStore.c_str());
    if (copyRawTrace && s_prepared->rawTrace.copyToDir(crashStore, HUTFile::COPY_REPLACE))
        SiblingLock::note(SiblingLock::Stage::traceCopied);

    Watchdog::set(kLogWaitTests + Watchdog::kCopies);
    if (!waitForLog(crashStore)) {
        tellWhere(rawTrace, "", "");
        return;
    }
    Watchdog::set(Watchdog::kCopies);
    const std::string& directory = currentLogDirectory();
    s_prepared->log.copyToDir(directory, HUTFile::COPY_REPLACE);
    tellWhere(directory.c_str(), "/", lastComponent(HCrptResourceMgr::getStacktraceLogPath()));
}

}  // namespace

void TraceHandOver::prepare() {
    if (s_prepared == nullptr) s_prepared = new Prepared;
}

void TraceHandOver::run(void* self) noexcept {
    try {
        handOver(static_cast<const TraceHandOver*>(self)->copyRawTrace);
    } catch (...) {
        // Out of memory, at worst: the raw trace is on disk, and the process goes on to its end.
    }
}

}  // namespace hcrpt

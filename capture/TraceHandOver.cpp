#include "capture/TraceHandOver.h"

#include <string>

#include "HUTFile.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace hcrpt {
namespace {

constexpr int kLogWaitTests = 100;  // one second apart

bool waitForFile(const HUTFile& file) {
    for (int test = 0; test < kLogWaitTests; ++test) {
        if (file.exists()) return true;
        HCrashRptUtils::sleep(1);
    }
    return file.exists();
}

void tellWhere(const std::string& path) {
    printRaw("Please check this file for stacktrace: " + path + "\n");
}

void handOver(bool copyRawTrace) {
    const std::string& rawTrace = HCrptResourceMgr::getStacktraceTempFilePath();
    const std::string crashStore = HCrashRptSettings::getCrashStorePath();
    if (!HUTFile::exists(crashStore) && !HCrashRptUtils::createCrashStore()) {
        tellWhere(rawTrace);
        // "<pid>" is meant literally.
        printMessage(
            "Could not copy hs_mangled_err_pid<pid>.log in the crash store in absence "
            "of a crashStore");
        return;
    }
    if (copyRawTrace) HUTFile(rawTrace).copyToDir(crashStore, HUTFile::COPY_REPLACE);

    const HUTFile log(HCrptResourceMgr::getStacktraceLogPath());
    if (!waitForFile(log)) {
        tellWhere(rawTrace);
        return;
    }
    const std::string directory = HCrashRptSettings::getStackTraceLogPath();
    log.copyToDir(directory, HUTFile::COPY_REPLACE);
    tellWhere(directory + HUTFile::getDirSeparator() + log.getName());
}

}  // namespace

void TraceHandOver::run(void* self) {
    try {
        handOver(static_cast<const TraceHandOver*>(self)->copyRawTrace);
    } catch (...) {
        // Out of memory, at worst: the raw trace is on disk, and the process goes on to its end.
    }
}

}  // namespace hcrpt

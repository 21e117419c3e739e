#include "HUTFile.h"
#include "hcrpt/HCrashRptUtils.h"
#include "store/FileListing.h"
#include "utils/Message.h"

namespace HCrashRptUtils {

bool createCrashStore() {
    const std::string path = HCrashRptSettings::getCrashStorePath();
    const HUTFile store(path);
    if (!store.exists()) store.mkDirRecursive();
    // Another process may have made it meanwhile: what counts is whether it is there now.
    const bool exists = store.exists();
    if (!exists)
        hcrpt::logError("Could not create crash store at: " + path +
                        " Please check folder path exists or has write permission.");
    return exists;
}

void deleteCrashStore() {
    const HUTFile store(HCrashRptSettings::getCrashStorePath());
    if (store.exists()) store.rmRecursive();
    if (!store.exists())
        hcrpt::logInfo("Deleted crash store.");
    else
        hcrpt::logError("Could not delete crash store.");
}

void deleteCrashReporterDir() {
    const HUTFile directory(HCrashRptSettings::getCrashReporterScratchDir());
    if (directory.exists()) directory.rmRecursive();
    if (directory.exists()) hcrpt::logError("Could not delete crash reporter directory.");
}

std::vector<std::string> getFilesWithPrefix(std::string prefix, std::string directory) {
    return hcrpt::filesWithPrefix(prefix, directory);
}

}  // namespace HCrashRptUtils

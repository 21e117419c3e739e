#include <fstream>

#include "HUTFile.h"
#include "hcrpt/HCrashRptUtils.h"
#include "settings/FileNames.h"
#include "store/AtomicFile.h"
#include "utils/Message.h"

namespace {

/// Copies byte for byte.
/// Contract: failures are ignored. The report itself is removed afterwards, so what could be copied
/// of it is kept, also in place of an earlier copy.
void copyFile(const std::string& from, const std::string& to) {
    std::ifstream in(from, std::ios::binary);
    hcrpt::AtomicFile out(to);
    out.stream() << in.rdbuf();
    static_cast<void>(out.commitPart());
}

}  // namespace

namespace HCrashRptUtils {

std::string backupStatusToString(HCrashRptSettings::RptBackupStatus status) {
    switch (status) {
        case HCrashRptSettings::SEND_SUCCESS:
            return hcrpt::kSentSuffix;
        case HCrashRptSettings::SEND_FAIL:
            return hcrpt::kFailedSuffix;
        case HCrashRptSettings::SEND_LATER:
            return hcrpt::kLaterSuffix;
    }
    return std::string();
}

void moveFileToBackupStore(std::string path, HCrashRptSettings::RptBackupStatus status) {
    const std::string storePath = HCrashRptSettings::getCrashBackupStorePath();
    const HUTFile store(storePath);
    if (!store.exists()) store.mkDir();

    const HUTFile report(path);
    const std::string destination = storePath + HCrashRptSettings::getDirSeparator() +
                                    report.getName() + "." + backupStatusToString(status);
    if (!report.exists()) return;
    // Contract: the report is removed even when the copy failed: a report that stayed in the crash
    // store would be sent again in every pass.
    copyFile(path, destination);
    hcrpt::logInfo("Moved crash report to backup store at " + destination);
    report.rm();
}

}  // namespace HCrashRptUtils

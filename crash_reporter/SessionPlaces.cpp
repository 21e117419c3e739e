#include "crash_reporter/SessionPlaces.h"

#include <unistd.h>

#include "HUTFile.h"
#include "crash_reporter/PathOwnership.h"
#include "hcrpt/HCrashRptSettings.h"

namespace crash_reporter {

bool SessionPlaces::prepareSessionDirectory() {
    const std::string directory = HCrashRptSettings::getCrashReporterSessionDir();
    if (!mayUseDirectory("directory", HCrashRptSettings::getCrashReporterScratchDir()) ||
        !mayUseDirectory("session directory", directory))
        return false;
    if (!HUTFile(directory).mkDirRecursive() || access(directory.c_str(), W_OK | X_OK) != 0) {
        m_refusal = "cannot write to session directory " + directory;
        return false;
    }
    return true;
}

bool SessionPlaces::inspectStores() {
    const std::string backup = HCrashRptSettings::getCrashBackupStorePath();
    const Finding finding = inspectPath(backup, PathKind::directory);
    if (finding.restricted) noteRestricted(backup);
    return mayUseDirectory("crash store", HCrashRptSettings::getCrashStorePath()) &&
           mayUseRegistrations(HCrashRptSettings::getProcRegFileFullPath());
}

bool SessionPlaces::mayUseDirectory(const std::string& what, const std::string& path) {
    const Finding finding = inspectPath(path, PathKind::directory);
    if (finding.restricted) noteRestricted(path);
    // A file in its place is in the way of whoever makes the directory, and is reported there.
    if (finding.objection.empty()) return true;
    m_refusal = "refusing " + what + " " + path + ", which " + finding.objection;
    return false;
}

bool SessionPlaces::mayUseRegistrations(const std::string& path) {
    const Finding finding = inspectPath(path, PathKind::file);
    if (finding.restricted) noteRestricted(path);
    if (finding.objection.empty() && !finding.otherKind) return true;
    m_refusal = "refusing registration file " + path + ", which " +
                (finding.otherKind ? "is not a regular file" : finding.objection);
    return false;
}

void SessionPlaces::noteRestricted(const std::string& path) {
    m_remarks.push_back("Took other users' rights to " + path + " away.");
}

}  // namespace crash_reporter

#include "crash_reporter/SessionPlaces.h"

#include <unistd.h>

#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"
#include "store/PathOwnership.h"

namespace crash_reporter {

using hcrpt::Finding;
using hcrpt::inspectPath;
using hcrpt::PathKind;

Refusal SessionPlaces::prepareSessionDirectory() {
    const std::string directory = HCrashRptSettings::getCrashReporterSessionDir();
    Refusal refusal =
        inspectDirectory("directory", HCrashRptSettings::getCrashReporterScratchDir());
    if (!refusal) refusal = inspectDirectory("session directory", directory);
    if (refusal) return refusal;
    if (!HUTFile(directory).mkDirRecursive() || access(directory.c_str(), W_OK | X_OK) != 0)
        return "cannot write to session directory " + directory;
    return std::nullopt;
}

Refusal SessionPlaces::inspectStores() {
    const std::string backup = HCrashRptSettings::getCrashBackupStorePath();
    if (inspectPath(backup, PathKind::directory).restricted) noteRestricted(backup);
    if (Refusal refusal = inspectDirectory("crash store", HCrashRptSettings::getCrashStorePath()))
        return refusal;
    return inspectRegistrations(HCrashRptSettings::getProcRegFileFullPath());
}

Refusal SessionPlaces::inspectDirectory(const std::string& what, const std::string& path) {
    const Finding finding = inspectPath(path, PathKind::directory);
    if (finding.restricted) noteRestricted(path);
    // A file in the place of the directory is reported when the directory cannot be made.
    if (!finding.objection) return std::nullopt;
    return "refusing " + what + " " + path + ", which " + *finding.objection;
}

Refusal SessionPlaces::inspectRegistrations(const std::string& path) {
    const Finding finding = inspectPath(path, PathKind::file);
    if (finding.restricted) noteRestricted(path);
    if (!finding.objection && !finding.otherKind) return std::nullopt;
    return "refusing registration file " + path + ", which " +
           finding.objection.value_or("is not a regular file");
}

void SessionPlaces::noteRestricted(const std::string& path) {
    m_remarks.push_back("Took other users' rights to " + path + " away.");
}

}  // namespace crash_reporter

#include "store/SessionPaths.h"

#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"

namespace hcrpt {

std::string pathInCrashStore(const std::string& fileName) {
    return HCrashRptSettings::getCrashStorePath() + HUTFile::getDirSeparator() + fileName;
}

std::string pathInSessionDirectory(const std::string& fileName) {
    return HCrashRptSettings::getCrashReporterSessionDir() + HUTFile::getDirSeparator() + fileName;
}

std::string reporterLogPath(const std::string& processId) {
    return HCrashRptSettings::crashReporterLogDir() + HUTFile::getDirSeparator() +
           kReporterLogPrefix + processId + kTraceExtension;
}

std::string factsPath(const std::string& hostName, const std::string& processId) {
    return pathInCrashStore(factsNamePrefix(hostName) + processId);
}

std::string factsNamePrefix(const std::string& hostName) {
    return kFactsPrefix + hostName + "_";
}

}  // namespace hcrpt

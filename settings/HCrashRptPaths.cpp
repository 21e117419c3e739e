// All directories and files of the system. Parts are joined with one separator and never
// normalised: processes with the same environment build the same text, even from a malformed value.

#include <cctype>
#include <cstdlib>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashRptSettings.h"
#include "settings/FileNames.h"
#include "settings/GuiStrDump.h"

namespace {

constexpr char kSessionVariable[] = "ZEB_SESSION_INFO";
constexpr char kSessionDelimiter = ':';

/// Returns the value of the session variable; empty when it is not set.
std::string sessionInfo() {
    const char* value = std::getenv(kSessionVariable);
    return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

std::string HCrashRptSettings::getSessionLaunchDir() {
    const std::string info = sessionInfo();
    return info.substr(0, info.find(kSessionDelimiter));
}

std::string HCrashRptSettings::getSessionId() {
    const std::string info = sessionInfo();
    // Contract: without a delimiter the position wraps to 0, so that the whole value is both
    // session id and launch directory.
    return info.substr(info.find(kSessionDelimiter) + 1);
}

std::string HCrashRptSettings::getCrashReporterScratchDir() {
    return getSessionLaunchDir() + getDirSeparator() + ".crashReporter";
}

std::string HCrashRptSettings::getCrashReporterSessionDir() {
    return getCrashReporterScratchDir() + getDirSeparator() + getSessionId();
}

std::string HCrashRptSettings::crashReporterLogDir() {
    return getCrashReporterSessionDir();
}

std::string HCrashRptSettings::getCrashStorePath() {
    return getCrashReporterSessionDir() + getDirSeparator() + "crashStore";
}

std::string HCrashRptSettings::getProcRegFileFullPath() {
    // Contract: the file lies inside the crash store: deleting the store also deletes the
    // registrations.
    return getCrashStorePath() + getDirSeparator() + hcrpt::kRegistrationFile;
}

std::string HCrashRptSettings::getCrashBackupStorePath() {
    return HUTEnv::getTUVAppDataDir() + getDirSeparator() + "crashStoreBackup";
}

std::string HCrashRptSettings::getGuiStrDumpFileName() {
    return hcrpt::guiStrDumpPath(HUTEnv::getProductName(), std::to_string(HUTEnv::getPid()));
}

std::string hcrpt::guiStrDumpPath(std::string product, const std::string& processId) {
    if (!product.empty())
        product[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(product[0])));
    return HCrashRptSettings::getSessionLaunchDir() + HCrashRptSettings::getDirSeparator() +
           product + "_pid" + processId + ".str";
}

std::string HCrashRptSettings::getStackTraceLogPath() {
    return HUTEnv::getPWD();
}

std::string HCrashRptSettings::getAppPath(const std::string& name) {
    const std::string separator = getDirSeparator();
    const std::string path = HUTEnv::getTUVAppRoot() + separator + "bin" + separator + "unwrapped" +
                             separator + "lnx64.o" + separator + name;
    const HUTFile program(path);
    if (!program.exists() || !program.isExecutable()) return std::string();
    return path;
}

#include <cstdlib>
#include <fstream>

#include "HUTFile.h"
#include "HUTFork.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptTransmit.h"
#include "transmit/UploadLock.h"
#include "utils/Message.h"

namespace {

constexpr char kLogName[] = "curlOut.log";
/// The status line of the only answer that counts as success. Answers with another protocol version
/// or another 2xx status are failures.
constexpr char kSuccessLine[] = "HTTP/1.1 200 OK";

std::string uploadLogDirectory(const ClientInfoCL& client) {
    const std::string directory = client.getTempDir();
    // "./" gives a log path with two separators in a row, which names the same file.
    return directory.empty() ? "." + HUTFile::getDirSeparator() : directory;
}

std::string optional(const std::string& option, const std::string& value) {
    return value.empty() ? "" : option + value;
}

}  // namespace

bool HCrashRptCurlMgr::uploadHttps(std::string report, const ServerInfoCL& server,
                                   const ClientInfoCL& client) {
    return UploadUsingVelcurlApp(report, server, client);
}

bool HCrashRptCurlMgr::UploadUsingVelcurlApp(std::string report, const ServerInfoCL& server,
                                             const ClientInfoCL& client) {
    const std::string tool = HCrashRptSettings::getAppPath(HCrashRptSettings::getCurlAppName());
    if (tool.empty()) return false;
    const std::string directory = uploadLogDirectory(client);
    const std::string log = directory + HUTFile::getDirSeparator() + kLogName;
    // buildArgs() begins with a blank as well, so the command has two blanks after the tool.
    const std::string command =
        tool + " " + buildArgs(report, server, client) + " > " + log + " 2>&1";
    const hcrpt::UploadLock lock(directory);
    const bool ok = launchProcessSystem(command, log);
    // The next upload writes to the same path and must not find this upload's success there.
    HUTFile(log).rm();
    return ok;
}

std::string HCrashRptCurlMgr::buildArgs(std::string report, const ServerInfoCL& server,
                                        const ClientInfoCL& client) {
    // Contract: only the report's path is quoted, the only text that a user chooses. The other
    // texts come from the deployment and reach the shell unquoted.
    return " --verbose" + optional(" --proxy ", client.getProxy()) +
           optional(" --cacert ", client.getCacert()) +
           (report.empty() ? "" : " -F file_loc=@\"" + report + "\"") +
           optional(" -F domain=", server.getDomainName()) +
           optional(" -F regid=", client.getRegId()) + optional(" -F access=", server.getAccess()) +
           " " + server.getUrl();
}

bool HCrashRptCurlMgr::launchProcessSystem(const std::string& command, const std::string& log) {
    hcrpt::logInfo("Running cmd: " + command);
    const int status = std::system(command.c_str());
    // Called whatever the status is, because isUploadSuccess() echoes the log, which says why an
    // upload failed.
    const bool found = isUploadSuccess(log);
    return found && status == 0;
}

bool HCrashRptCurlMgr::launchProcess(const std::string& command, const std::string& log) {
    hcrpt::logInfo("Running cmd: " + command);
    HUTFork process;
    process.setCmdLine(command, true);
    const int launched = process.launch(true, true, true, true);
    const bool found = isUploadSuccess(log);
    return launched > 0 && found;
}

bool HCrashRptCurlMgr::isUploadSuccess(const std::string& log) {
    std::ifstream in(log);
    std::string line;
    while (std::getline(in, line)) {
        hcrpt::logInfo("CURL LOG: " + line);
        if (line.find(kSuccessLine) != std::string::npos) return true;
    }
    return false;
}

#include "HUTEnv.h"
#include "HUTFile.h"
#include "base/ControlCharacters.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptTransmit.h"
#include "hcrpt/HCrashRptUtils.h"
#include "transmit/ShellText.h"
#include "utils/Message.h"

ClientInfoCL HCrashRptFileTransmitMgr::getClientInfo() {
    const std::string separator = HUTFile::getDirSeparator();
    ClientInfoCL info;
    // Registration id and proxy stay empty: no setting defines them.
    if (info.getCoreDumpDir().empty()) info.setCoreDumpDir("." + separator);
    const std::string relative = "telemon" + separator + "cacert.pem";
    const std::string cacert = HUTEnv::getZEBDataDir(relative) + separator + relative;
    if (HUTFile::exists(cacert)) info.setCacert(cacert);
    return info;
}

ServerInfoCL HCrashRptFileTransmitMgr::getVelServerInfo() {
    ServerInfoCL info;
    info.setUrl(HCrashRptSettings::getKorServerUrl());
    info.setAccess(HCRPT_ACCESS_CODE);
    info.setDomainName(HUTEnv::isHostInsideVeltra() ? HCRPT_DOMAIN_NAME : HUTEnv::getDomainName());
    return info;
}

bool HCrashRptFileTransmitMgr::uploadToServer(std::string report) {
    const ServerInfoCL server = getVelServerInfo();
    const ClientInfoCL client = getClientInfo();
    const std::string cacert = client.getCacert();
    if (cacert.empty()) {
        // Contract: the path is empty here, which leaves two blanks in a row: the line reads the
        // same in every log.
        hcrpt::logError("CA certificate file " + cacert + " does not exist.");
        return false;
    }
    // Checked here, on the text that goes into the command line: no caller can bypass the check.
    const std::string name = HUTFile(report).getName();
    if (!hcrpt::isPlainInDoubleQuotes(name)) {
        hcrpt::logError("crash report not sent, its name holds characters that a shell acts on: " +
                        hcrpt::withoutControls(name));
        return false;
    }
    hcrpt::logInfo(HCrashRptUtils::getCurrentTime() + " : Sending crash report to Veltra server " +
                   server.getUrl());
    return uploadHttps(report, server, client);
}

bool HCrashRptFileTransmitMgr::uploadHttps(std::string report, const ServerInfoCL& server,
                                           const ClientInfoCL& client) {
    const bool ok = HCrashRptCurlMgr::uploadHttps(report, server, client);
    if (ok) {
        hcrpt::logInfo("Successfully sent error report to server, report = " + report);
    } else {
        // Contract: no line feed and no flush: the next message, which says where the report went,
        // continues this line.
        hcrpt::printUnflushed(
            "[Crash Reporter] Error:  Unable to send error report to server, report = " + report);
    }
    return ok;
}

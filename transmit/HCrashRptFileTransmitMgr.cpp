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
    // Registration id and proxy stay empty: nothing defines them.
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
        // The empty path leaves two blanks in a row; kept, so that the line reads the same in
        // every log.
        hcrpt::logError("CA certificate file " + cacert + " does not exist.");
        return false;
    }
    // Looked at here, on the very text that goes into the command line: whoever lists the reports
    // cannot pass one by.
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
        // On purpose: neither line feed nor flush, the next message continues this line. It says
        // where the report went.
        hcrpt::printUnflushed(
            "[Crash Reporter] Error:  Unable to send error report to server, report = " + report);
    }
    return ok;
}

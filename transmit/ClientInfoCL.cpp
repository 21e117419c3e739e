#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashRptTransmit.h"
#include "utils/Message.h"

ClientInfoCL::ClientInfoCL() {
    m_regId = probeAndGetRegId();
    m_coreDumpDir = probeAndGetCoreDumpDir();
    m_tempDir = probeAndGetTempDir();
}

std::string ClientInfoCL::getRegId() const {
    return m_regId;
}
void ClientInfoCL::setRegId(const std::string& value) {
    m_regId = value;
}
std::string ClientInfoCL::getCoreDumpDir() const {
    return m_coreDumpDir;
}
void ClientInfoCL::setCoreDumpDir(const std::string& value) {
    m_coreDumpDir = value;
}
std::string ClientInfoCL::getTempDir() const {
    return m_tempDir;
}
void ClientInfoCL::setTempDir(const std::string& value) {
    m_tempDir = value;
}
std::string ClientInfoCL::getProxy() const {
    return m_proxy;
}
void ClientInfoCL::setProxy(const std::string& value) {
    m_proxy = value;
}
std::string ClientInfoCL::getCacert() const {
    return m_cacert;
}
void ClientInfoCL::setCacert(const std::string& value) {
    m_cacert = value;
}

// The form has a field for a registration id, but no part of the system issues one.
std::string ClientInfoCL::probeAndGetRegId() {
    return "";
}

// The system does not collect core dumps.
std::string ClientInfoCL::probeAndGetCoreDumpDir() {
    return "";
}

std::string ClientInfoCL::probeAndGetTempDir() {
    const HUTFile directory(HUTEnv::getTUVTmpDir() + HUTFile::getDirSeparator() + "CrashReporter");
    std::string path;
    directory.getCanonicalName(path);
    if (path.empty() || HUTFile::exists(path)) return path;
    if (!directory.mkDirRecursive()) {
        hcrpt::logError("Could not create tmp dir: " + path);
        return "";
    }
    // Contract: the blank stands before the colon, not after it: tools search logs for this line in
    // this form.
    hcrpt::logInfo("created tmp dir :" + path);
    return path;
}

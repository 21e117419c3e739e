#include "hcrpt/HCrashRptTransmit.h"

ServerInfoCL::ServerInfoCL() = default;

std::string ServerInfoCL::getUrl() const {
    return m_url;
}
void ServerInfoCL::setUrl(const std::string& value) {
    m_url = value;
}
std::string ServerInfoCL::getDomainName() const {
    return m_domainName;
}
void ServerInfoCL::setDomainName(const std::string& value) {
    m_domainName = value;
}
std::string ServerInfoCL::getAccess() const {
    return m_access;
}
void ServerInfoCL::setAccess(const std::string& value) {
    m_access = value;
}

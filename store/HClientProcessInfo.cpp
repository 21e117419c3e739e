#include "hcrpt/HCrashReporter.h"

namespace HCrashReporter {

HClientProcessInfo::HClientProcessInfo() = default;

HClientProcessInfo::HClientProcessInfo(const std::string& procId, const std::string& hostName)
    : m_processId(procId), m_hostName(hostName) {}

HClientProcessInfo::HClientProcessInfo(const std::string& line)
    : m_processId(extractProcId(line)), m_hostName(extractHostName(line)) {}

std::string HClientProcessInfo::extractHostName(const std::string line) const {
    return line.substr(0, line.find(':'));
}

std::string HClientProcessInfo::extractProcId(const std::string line) const {
    // Contract: without a colon, npos + 1 wraps to 0, and the whole text is the process id, too.
    return line.substr(line.find(':') + 1);
}

bool HClientProcessInfo::operator==(const HClientProcessInfo& other) const {
    return m_processId == other.m_processId && m_hostName == other.m_hostName;
}

std::string HClientProcessInfo::getProcessId() const {
    return m_processId;
}
std::string HClientProcessInfo::getHostName() const {
    return m_hostName;
}

}  // namespace HCrashReporter

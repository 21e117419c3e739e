#include "recovery/Registrations.h"

#include "HUTEnv.h"
#include "facts/ProcessFacts.h"
#include "facts/ProcessState.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrashRptUtils.h"
#include "store/Records.h"
#include "store/SessionPaths.h"
#include "store/TraceIdentity.h"

namespace hcrpt {

Registrations::Registrations() {
    const std::string host = HUTEnv::getHostName();
    for (const std::string& record : recordsIn(HCrashRptSettings::getProcRegFileFullPath())) {
        const HCrashReporter::HClientProcessInfo process(record);
        (process.getHostName() == host ? m_own : m_others).insert(process.getProcessId());
    }
}

bool Registrations::isOfThisMachine(const std::string& processId) const {
    return m_own.count(processId) > 0 && m_others.count(processId) == 0;
}

bool Registrations::hasOtherMachines() const {
    return !m_others.empty();
}

bool hasEnded(const std::string& processId, const std::timespec& traceTime) {
    if (!HCrashRptUtils::isProcessRunning(processId)) return true;
    const auto state = processState(processId);
    if (!state) return false;  // it ends right now
    if (state->isOver || isOfEarlierProcess(traceTime, processId)) return true;
    const auto facts = readFacts(factsPath(HUTEnv::getHostName(), processId));
    if (!facts || facts->startTime.empty() || facts->startTime == state->startTime) return false;
    const auto start = wallClockStart(state->startTime);
    return start && isBefore(traceTime, *start);
}

}  // namespace hcrpt

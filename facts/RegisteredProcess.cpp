#include "facts/RegisteredProcess.h"

#include <optional>
#include <string>

#include "HUTEnv.h"
#include "facts/ProcessFacts.h"
#include "facts/ProcessIdScope.h"
#include "facts/ProcessState.h"
#include "hcrpt/HCrashRptUtils.h"
#include "store/Records.h"
#include "store/SessionPaths.h"

namespace {

/// Returns true when two facts are known and differ.
bool contradict(const std::string& one, const std::string& other) {
    return !one.empty() && !other.empty() && one != other;
}

/// Returns false when the facts show that the id belongs to another process now, or to none here.
bool describesProcess(const hcrpt::ProcessFacts& facts, const std::string& processId) {
    const auto state = hcrpt::processState(processId);
    return !contradict(facts.bootId, hcrpt::bootId()) &&
           !contradict(facts.pidNamespace, hcrpt::pidNamespace()) &&
           !(state && contradict(facts.startTime, state->startTime));
}

}  // namespace

namespace hcrpt {

bool isStillRunning(const std::string& record) {
    const std::optional<std::string> processId = hcrpt::localProcess(record);
    if (!processId || !HCrashRptUtils::isProcessRunning(*processId)) return false;
    const auto facts = hcrpt::readFacts(hcrpt::factsPath(HUTEnv::getHostName(), *processId));
    return !facts || describesProcess(*facts, *processId);
}

}  // namespace hcrpt

#include "store/TraceMemory.h"

#include <unordered_set>

namespace hcrpt {

TraceMemory& TraceMemory::ofLibrary() {
    static TraceMemory memory;
    return memory;
}

TraceMemory::Demangled TraceMemory::isDemangled(const std::string& rawTrace) const {
    const auto known = m_known.find(rawTrace);
    if (known == m_known.end() || !known->second.log) return Demangled::no;
    const Log& log = *known->second.log;
    if (TraceIdentity::of(rawTrace) != log.trace || TraceIdentity::of(log.path) != log.identity)
        return Demangled::no;
    return log.trace.isSettled ? Demangled::yes : Demangled::provisionally;
}

void TraceMemory::setDemangled(const std::string& rawTrace, const TraceIdentity& asRead,
                               const std::string& log) {
    const auto identity = TraceIdentity::of(log);
    if (identity) m_known[rawTrace].log = Log{asRead, log, *identity};
}

bool TraceMemory::isJudged(const std::string& rawTrace, const TraceIdentity& identity) const {
    const auto known = m_known.find(rawTrace);
    return known != m_known.end() && known->second.judged == identity;
}

void TraceMemory::setJudged(const std::string& rawTrace, const TraceIdentity& identity) {
    m_known[rawTrace].judged = identity;
}

void TraceMemory::keepOnly(const std::vector<std::string>& rawTraces) {
    const std::unordered_set<std::string> kept(rawTraces.begin(), rawTraces.end());
    for (auto at = m_known.begin(); at != m_known.end();)
        at = kept.count(at->first) > 0 ? std::next(at) : m_known.erase(at);
}

}  // namespace hcrpt

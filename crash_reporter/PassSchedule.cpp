#include "crash_reporter/PassSchedule.h"

#include <algorithm>

namespace crash_reporter {

bool PassSchedule::isDue(const Reports& waiting, Time now) const {
    if (m_killed && m_nextTry && now < *m_nextTry) return false;
    const bool anyNew =
        std::any_of(waiting.begin(), waiting.end(),
                    [this](const std::string& report) { return m_tried.count(report) == 0; });
    return anyNew || (!waiting.empty() && (!m_nextTry || now >= *m_nextTry));
}

bool PassSchedule::ended(const Reports& waiting, bool killed, Time now) {
    m_killed = killed;
    const bool movedAny =
        std::any_of(m_tried.begin(), m_tried.end(),
                    [&waiting](const std::string& report) { return waiting.count(report) == 0; });
    if (!killed && (movedAny || m_tried.empty())) {
        m_nextTry.reset();
        m_pauses.reset();
        return false;
    }
    const bool first = !m_nextTry;
    m_nextTry = now + m_pauses.next();
    return first && !movedAny;
}

}  // namespace crash_reporter

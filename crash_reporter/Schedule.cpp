#include "crash_reporter/Schedule.h"

namespace crash_reporter {

bool Schedule::isDue(Deadline name) const {
    const std::optional<Time>& time = m_times[index(name)];
    return time && m_now >= *time;
}

std::optional<Time> Schedule::next() const {
    std::optional<Time> next;
    for (const std::optional<Time>& time : m_times)
        if (time && m_now < *time && (!next || *time < *next)) next = time;
    return next;
}

}  // namespace crash_reporter

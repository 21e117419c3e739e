/// @file
/// Growing pauses.
#pragma once

#include <algorithm>
#include <chrono>

namespace crash_reporter {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

/// Pauses that double from a first one up to a longest one.
class BackOff {
  public:
    BackOff(Clock::duration first, Clock::duration longest)
        : m_first(first), m_longest(longest), m_next(first) {}

    /// Returns the present pause; the following one is twice as long.
    [[nodiscard]] Clock::duration next() {
        const Clock::duration pause = m_next;
        m_next = std::min(2 * m_next, m_longest);
        return pause;
    }
    void reset() { m_next = m_first; }

  private:
    Clock::duration m_first, m_longest, m_next;
};

}  // namespace crash_reporter

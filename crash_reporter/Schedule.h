/// @file
/// When the crash reporter has to wake up by itself.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "crash_reporter/BackOff.h"

namespace crash_reporter {

/// What the crash reporter waits for by the clock.
enum class Deadline {
    poll,          ///< the regular round, for what no event tells
    firstRecord,   ///< by then a host must have registered in an empty registration file
    endedProcess,  ///< poll for processes that have ended but are still in the process table
    carryOver,     ///< poll the replaced registration file
    nextPass,      ///< try the waiting reports again
    restoration,   ///< try to restore the crash store again
};

/// Deadlines by name, seen from the present round of work.
class Schedule {
  public:
    /// From now on "due" means: at this time or before.
    void beginRound(Time now) { m_now = now; }
    /// When the present round began.
    [[nodiscard]] Time now() const { return m_now; }

    /// @param time nothing takes the deadline away.
    void set(Deadline name, std::optional<Time> time) { m_times[index(name)] = time; }
    /// @return false also for a deadline that is not set.
    [[nodiscard]] bool isDue(Deadline name) const;
    /// The earliest deadline that was not due when the round began; nothing when there is none.
    /// Those that were due have had their turn in this round.
    [[nodiscard]] std::optional<Time> next() const;

  private:
    static constexpr std::size_t kCount = static_cast<std::size_t>(Deadline::restoration) + 1;
    static constexpr std::size_t index(Deadline name) { return static_cast<std::size_t>(name); }

    Time m_now;
    std::array<std::optional<Time>, kCount> m_times;
};

}  // namespace crash_reporter

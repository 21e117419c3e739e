/// @file
/// Decides when to make a pass over the waiting reports.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "crash_reporter/BackOff.h"

namespace crash_reporter {

/// Paths of waiting reports.
using Reports = std::set<std::string>;

/// A new report is due at once. What a pass leaves is due at once if the pass moved any report;
/// otherwise after pauses that grow up to a minute. After a pass that was killed or crashed all
/// reports wait for such a pause, new ones as well: the report that it crashed at is still there,
/// and its own crash has added one.
class PassSchedule {
  public:
    [[nodiscard]] bool isDue(const Reports& waiting, Time now) const;
    /// Call this when a pass over these reports begins.
    void begun(const Reports& waiting) { m_tried = waiting; }
    /// Call this when the pass has ended.
    /// @param waiting the reports that wait now.
    /// @return true when the pass moved no report, for the first time since a pass did.
    [[nodiscard]] bool ended(const Reports& waiting, bool killed, Time now);
    /// The end of the pause; nothing when there is none.
    [[nodiscard]] std::optional<Time> nextTry() const { return m_nextTry; }

  private:
    Reports m_tried;
    bool m_killed = false;
    std::optional<Time> m_nextTry;
    BackOff m_pauses{std::chrono::seconds(1), std::chrono::seconds(60)};
};

}  // namespace crash_reporter

/// @file
/// When to make a pass over the waiting reports.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "crash_reporter/BackOff.h"

namespace crash_reporter {

/// Paths of waiting reports.
using Reports = std::set<std::string>;

/// A new report is due at once, and so is what a pass that got anywhere has left. Reports that a
/// pass could not move are due again after pauses that grow up to a minute. After a pass that was
/// killed or crashed all wait for such a pause, new ones as well: the one that it crashed at is
/// still there, and its own crash is a new one.
class PassSchedule {
  public:
    bool isDue(const Reports& waiting, Time now) const;
    /// A pass over these begins.
    void begun(const Reports& waiting) { m_tried = waiting; }
    /// It has ended, and these wait now.
    /// @return whether it got nowhere, for the first time since one did.
    bool ended(const Reports& waiting, bool killed, Time now);
    /// The end of the pause.
    std::optional<Time> nextTry() const { return m_nextTry; }

  private:
    Reports m_tried;
    bool m_killed = false;
    std::optional<Time> m_nextTry;
    BackOff m_pauses{std::chrono::seconds(1), std::chrono::seconds(60)};
};

}  // namespace crash_reporter

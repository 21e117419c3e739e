/// @file
/// Records that were appended to a registration file while it was replaced.
#pragma once

#include <optional>
#include <string>

#include "base/FileDescriptor.h"
#include "crash_reporter/BackOff.h"
#include "crash_reporter/Registrations.h"

namespace crash_reporter {

/// Between the decision to begin a session's store afresh and its deletion a host may open the old
/// registration file, and write its record a few seconds later, when it gets the lock. This keeps
/// the old file open for so long and carries records of living processes of this machine over into
/// the new file.
class CarryOver {
  public:
    /// Holds the registration file open that is about to be replaced.
    void holdOpen(const std::string& registrations);
    /// Call this once the file may have been replaced. From then on, new records may appear in the
    /// old one.
    void begin(Time now);
    /// Carries new records over, if the poll is due.
    void poll(Time now);
    /// When to poll the old file again; nothing when there is no need.
    [[nodiscard]] std::optional<Time> nextPoll() const { return m_nextPoll; }

  private:
    std::string m_path;
    hcrpt::FileDescriptor m_old{-1};
    /// Records that were known to be of no living process when the file was still in place. The
    /// facts that showed it go with the old store.
    Records m_stale;
    std::optional<Time> m_nextPoll;
    Time m_end;
    BackOff m_pauses{std::chrono::milliseconds(100), std::chrono::seconds(1)};
};

}  // namespace crash_reporter

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
    /// Holds on to the registration file that is about to be replaced.
    void keep(const std::string& registrations);
    /// It has been replaced or not, and what is looked for turns up from now on.
    void begin(Time now);
    /// Carries over what has turned up, when it is time to look.
    void poll(Time now);
    /// When to look again; nothing when it is over.
    std::optional<Time> nextPoll() const { return m_nextPoll; }

  private:
    std::string m_path;
    hcrpt::FileDescriptor m_old{-1};
    std::optional<Time> m_nextPoll;
    Time m_end;
    BackOff m_pauses{std::chrono::milliseconds(100), std::chrono::seconds(1)};
};

}  // namespace crash_reporter

/// @file
/// The registered processes of this machine, and their ends.
#pragma once

#include <poll.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/FileDescriptor.h"
#include "crash_reporter/BackOff.h"
#include "crash_reporter/Registrations.h"

namespace crash_reporter {

/// Follows registered processes of this machine by descriptors that become readable when they end.
/// Where the kernel has none, isComplete() is false and noticeEnds() consults the process table.
class ProcessWatch {
  public:
    /// Follows the processes of these records too, if they run on this machine.
    void follow(const Records& records);
    /// Adds the descriptors to wait for.
    void addTo(std::vector<pollfd>& waits) const;
    /// Stops following the processes that have ended.
    void noticeEnds();
    /// @return true when noticeEnds() has seen a process end since the last call.
    [[nodiscard]] bool takeEnds();

    /// Records of the followed processes that run.
    [[nodiscard]] Records living() const;
    /// Returns true when each followed process has a descriptor.
    [[nodiscard]] bool isComplete() const;

    /// An ended process stays in the process table until its parent reaps it, and until then the
    /// library takes it for running. @return when to poll for such processes again, after pauses
    /// that grow; nothing when there are none.
    [[nodiscard]] std::optional<Time> nextPoll() const;
    /// Forgets the ended processes that have been reaped, if their poll is due.
    void poll(Time now);

  private:
    struct Process {
        Process(const std::string& itsRecord, int itsEnd) : record(itsRecord), end(itsEnd) {}
        std::string record;
        hcrpt::FileDescriptor end;
    };
    std::map<std::string, Process> m_followed;  ///< by process id
    std::set<std::string> m_ended;              ///< but still in the process table
    bool m_anyEnded = false;                    ///< since the last takeEnds()
    BackOff m_pauses{std::chrono::milliseconds(50), std::chrono::seconds(10)};
    Time m_nextPoll;
};

}  // namespace crash_reporter

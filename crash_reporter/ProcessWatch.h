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

/// Follows registered processes of this machine by descriptors that tell of their ends. Where the
/// kernel has none to give, isComplete() is false and they are looked at when asked.
class ProcessWatch {
  public:
    /// Follows the processes of these records too, if they run on this machine.
    void follow(const Records& records);
    /// Adds what to wait for.
    void addTo(std::vector<pollfd>& waits) const;
    /// Stops following those that have ended. @return whether there are any.
    bool noticeEnds();

    /// Records of those that run.
    Records living() const;
    /// Whether the end of every followed process is told by a descriptor.
    bool isComplete() const;

    /// An ended process stays in the process table until its parent asks for it, and until then the
    /// library takes it for running. When to look again at those: after pauses that grow; nothing
    /// when there are none.
    std::optional<Time> nextPoll() const;
    /// Looks at them, when it is time for it.
    void poll(Time now);

  private:
    struct Process {
        Process(const std::string& itsRecord, int itsEnd) : record(itsRecord), end(itsEnd) {}
        std::string record;
        hcrpt::FileDescriptor end;
    };
    std::map<std::string, Process> m_followed;  ///< by process id
    std::set<std::string> m_ended;              ///< but still in the process table
    BackOff m_pauses{std::chrono::milliseconds(50), std::chrono::seconds(10)};
    Time m_nextPoll;
};

}  // namespace crash_reporter

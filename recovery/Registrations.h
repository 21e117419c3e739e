/// @file
/// Tells whose processes are registered in this session.
#pragma once

#include <ctime>
#include <string>
#include <unordered_set>

namespace hcrpt {

/// The records of the registration file as they are when the object is made.
class Registrations {
  public:
    Registrations();
    /// Whether the process is registered on this machine, and on no other under the same id: the
    /// names of traces hold no machine.
    bool isOfThisMachine(const std::string& processId) const;
    /// Whether processes of other machines are registered.
    bool hasOtherMachines() const;

  private:
    std::unordered_set<std::string> m_own;
    std::unordered_set<std::string> m_others;
};

/// Whether a process that was registered on this machine, and may have left a raw trace at that
/// time, has ended. One whose id another process has by now has, if the facts that it left show it;
/// but a trace from that other process's time may be that one's, and it is waited for.
bool hasEnded(const std::string& processId, const std::timespec& traceTime);

}  // namespace hcrpt

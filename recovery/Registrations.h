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
    /// Returns true when the process is registered on this machine, and on no other under the same
    /// id: the names of traces hold no machine.
    bool isOfThisMachine(const std::string& processId) const;
    /// Returns true when processes of other machines are registered.
    bool hasOtherMachines() const;

  private:
    std::unordered_set<std::string> m_own;
    std::unordered_set<std::string> m_others;
};

/// Returns true when the process that was registered on this machine under that id, and may have
/// left a raw trace at that time, has ended. It has also ended when its facts show that the id
/// belongs to another process now; a trace from that other process's time may be that process's, so
/// the answer is false then until that process has ended, too.
[[nodiscard]] bool hasEnded(const std::string& processId, const std::timespec& traceTime);

}  // namespace hcrpt

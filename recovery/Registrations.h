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

/// Returns true when a process that was registered on this machine, and may have left a raw trace
/// at that time, has ended. It has when its id belongs to another process by now: to one that
/// started more than a minute after the trace, or, by the facts that it left, at all after it.
[[nodiscard]] bool hasEnded(const std::string& processId, const std::timespec& traceTime);

}  // namespace hcrpt

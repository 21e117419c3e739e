/// @file
/// The session's directories and registration file: whether they may be used.
#pragma once

#include <string>
#include <vector>

namespace crash_reporter {

/// Looks at every place before anything is written into it, from the top, so that what lies above a
/// place is known to be this user's alone by then.
class SessionPlaces {
  public:
    /// Makes the session directory and those above it, for this user only.
    /// @return false when one of them must not or cannot be used; see refusal().
    bool prepareSessionDirectory();
    /// Looks at the crash store and the registration file, which may be missing. Takes the rights
    /// of others to the backup store away, which may be anywhere and anything.
    /// @return false when one of the first two must not be used; see refusal().
    bool inspectStores();

    /// Why, in words.
    const std::string& refusal() const { return m_refusal; }
    /// What was changed, for the log.
    const std::vector<std::string>& remarks() const { return m_remarks; }

  private:
    bool mayUseDirectory(const std::string& what, const std::string& path);
    bool mayUseRegistrations(const std::string& path);
    void noteRestricted(const std::string& path);

    std::string m_refusal;
    std::vector<std::string> m_remarks;
};

}  // namespace crash_reporter

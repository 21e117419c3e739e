/// @file
/// Tells whether the session's directories and registration file may be used.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace crash_reporter {

/// Why a place must not or cannot be used, in words; nothing when it may be used.
using Refusal = std::optional<std::string>;

/// Inspects every place before anything is written into it, from the top: so what lies above a
/// place is known to belong to this user alone.
class SessionPlaces {
  public:
    /// Makes the session directory and those above it, for this user only.
    [[nodiscard]] Refusal prepareSessionDirectory();
    /// Inspects the crash store and the registration file, which may be missing. Takes the rights
    /// of others to the backup store away, and never refuses it: it may be anywhere and anything.
    [[nodiscard]] Refusal inspectStores();

    /// What was changed, for the log.
    [[nodiscard]] const std::vector<std::string>& remarks() const { return m_remarks; }

  private:
    Refusal inspectDirectory(const std::string& what, const std::string& path);
    Refusal inspectRegistrations(const std::string& path);
    void noteRestricted(const std::string& path);

    std::vector<std::string> m_remarks;
};

}  // namespace crash_reporter

/// @file
/// Changes in the crash store.
#pragma once

#include <optional>
#include <string>

#include "base/FileDescriptor.h"
#include "base/FileIdentity.h"

namespace crash_reporter {

/// Tells when a raw trace, a report or a record has arrived in a directory, and when the directory
/// goes, or anything beside it: the log, the lock. Stack-trace logs and hidden temporary files come
/// and go with every crash and are ignored. Where the kernel or the file system sends no events it
/// tells nothing: poll the directory from time to time.
class StoreWatch {
  public:
    /// Follows the directory at the path from now on, and no other.
    /// @return false when the kernel sends no events of it.
    bool follow(const std::string& directory);
    /// Returns true when the path still leads to the directory that is followed.
    [[nodiscard]] bool isInPlace() const;

    /// Readable when there are events; -1 when the kernel sends none.
    [[nodiscard]] int descriptor() const { return m_events.get(); }
    /// Takes all events. @return false when all of them can be ignored.
    [[nodiscard]] bool takeEvents();

  private:
    std::string m_directory;
    std::optional<hcrpt::FileIdentity> m_identity;
    hcrpt::FileDescriptor m_events{-1};
};

}  // namespace crash_reporter

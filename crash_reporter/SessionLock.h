/// @file
/// One crash reporter per session.
#pragma once

#include <string>

#include "base/FileDescriptor.h"

namespace crash_reporter {

/// A lock in the session directory. The kernel releases it when the process that holds it has
/// ended, in whatever way, and all children that were forked from it and run no other program: so
/// what such a child does to the store is over when the next crash reporter begins. On a directory
/// that machines share it works between them if the file system's locks do.
class SessionLock {
  public:
    enum class Outcome { taken, heldByAnother, impossible };

    /// Tries once. @return impossible when the file system has no locks: go on without one.
    [[nodiscard]] Outcome take();
    /// Lets another crash reporter take it.
    void release() { m_file.reset(-1); }
    /// Tells crash reporters that wait for the lock that it will be free soon. The announcement is
    /// in force until the lock is taken again.
    void announceRelease() const;
    /// Returns true when the crash reporter that holds the lock has called announceRelease().
    [[nodiscard]] static bool isReleaseAnnounced();
    /// Returns true when this object holds the lock that others find in the session directory. A
    /// session directory that was removed and made again has another lock.
    [[nodiscard]] bool isInPlace() const;

    static std::string path();

  private:
    hcrpt::FileDescriptor m_file{-1};
};

}  // namespace crash_reporter

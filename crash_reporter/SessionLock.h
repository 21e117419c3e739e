/// @file
/// One crash reporter per session.
#pragma once

#include <string>

#include "base/FileDescriptor.h"

namespace crash_reporter {

/// A lock in the session directory. The kernel gives it up with the process that holds it, however
/// that ends, and with the last child that was forked from it and runs no other program: what such
/// a child does to the store is over when the next crash reporter begins. On a directory shared
/// between machines it holds between them where the file system's locks do.
class SessionLock {
  public:
    enum class Outcome { taken, heldByAnother, impossible };

    /// Tries once. @return impossible where there can be no lock: go on without one.
    Outcome take();
    /// Lets another take it.
    void release() { m_file.reset(-1); }
    /// Tells those who wait that it will be free soon, until another has taken it.
    void announceRelease() const;
    /// Whether the one who holds it has announced that. False where nobody has it.
    static bool isReleaseAnnounced();
    /// Whether the lock that is held is the one that others would find. A session directory that
    /// was removed and made again has another.
    bool isInPlace() const;

    static std::string path();

  private:
    hcrpt::FileDescriptor m_file{-1};
};

}  // namespace crash_reporter

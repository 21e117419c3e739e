/// @file
/// Keeps uploads apart, in all processes that use one temporary directory.
#pragma once

#include <chrono>
#include <string>

namespace hcrpt {

/// Holds the lock for the upload's log of a directory during a scope. Crash reporters of several
/// sessions share their user's temporary directory, and their uploads write to the same log.
///
/// The lock is on the directory itself. The upload tool inherits it, so a tool that outlives its
/// killed crash reporter keeps the log to itself. If the lock cannot be taken (no such directory, a
/// file system without locks, the patience has run out), the upload runs without it.
class UploadLock {
  public:
    /// Slightly longer than the upload tool's time limit.
    static constexpr std::chrono::seconds kPatience{130};

    explicit UploadLock(const std::string& directory,
                        std::chrono::milliseconds patience = kPatience);
    ~UploadLock();
    UploadLock(const UploadLock&) = delete;
    UploadLock& operator=(const UploadLock&) = delete;

  private:
    int m_directory;
};

}  // namespace hcrpt

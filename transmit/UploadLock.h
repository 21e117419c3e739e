/// @file
/// One upload after the other, over all processes that use a temporary directory.
#pragma once

#include <chrono>
#include <string>

namespace hcrpt {

/// The right to write the upload's log in a directory, for the time of a scope. Crash reporters of
/// several sessions share their user's temporary directory, and with it the name of that log.
///
/// The lock is on the directory itself and passes to the upload tool, so that one that goes on
/// after its crash reporter was killed still has its log to itself. Where there is no turn to be
/// had (no such directory, a file system without locks, patience at its end), there is none.
class UploadLock {
  public:
    /// A little longer than the upload tool takes at most.
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

/// @file
/// Changes in the crash store.
#pragma once

#include <sys/types.h>

#include <string>

#include "base/FileDescriptor.h"

namespace crash_reporter {

/// Tells when a raw trace, a report or a record has arrived in a directory, and when the directory
/// goes, or anything beside it: the log, the lock. Stack-trace logs and hidden temporary files,
/// which come and go with every crash, are no news. Where the kernel or the file system sends no
/// events it tells nothing: look yourself now and then.
class StoreWatch {
  public:
    /// Follows the directory at the path from now on, and no other.
    /// @return whether the kernel tells of its changes.
    bool follow(const std::string& directory);
    /// Whether the path still leads to the directory that is followed.
    bool isInPlace() const;

    /// Readable when there may be news; -1 when the kernel tells nothing.
    int descriptor() const { return m_events.get(); }
    /// Takes all events. @return whether there is news among them.
    bool takeNews();

  private:
    std::string m_directory;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    hcrpt::FileDescriptor m_events{-1};
};

}  // namespace crash_reporter

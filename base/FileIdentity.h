/// @file
/// Tells whether two paths or descriptors lead to the same file.
#pragma once

#include <sys/stat.h>

namespace hcrpt {

/// Device and inode: they stay the same when a file is renamed, and differ for one put in its
/// place while the former is still open. @signalsafe
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    explicit FileIdentity(const struct stat& status)
        : device(status.st_dev), inode(status.st_ino) {}
    bool operator==(const FileIdentity& other) const {
        return device == other.device && inode == other.inode;
    }
};

/// @signalsafe
[[nodiscard]] inline bool isSameFile(const struct stat& one, const struct stat& other) {
    return FileIdentity(one) == FileIdentity(other);
}

}  // namespace hcrpt

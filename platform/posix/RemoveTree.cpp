#include "RemoveTree.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "PathText.h"
#include "base/FileDescriptor.h"

namespace {

const mode_t kOwnerAll = 0700;

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

bool isDotName(const char* name) {
    return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0;
}

// Every step below uses the descriptor of the directory that contains the entry, so that another
// user cannot redirect it by replacing a directory with a link.
Directory openDirectory(int parent, const char* name) {
    const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    int opened = openat(parent, name, flags);
    if (opened < 0 && errno == EACCES &&
        fchmodat(parent, name, kOwnerAll, AT_SYMLINK_NOFOLLOW) == 0)
        opened = openat(parent, name, flags);
    hcrpt::FileDescriptor fd(opened);
    if (!fd.isOpen()) return Directory();
    struct stat status = {};
    if (fstat(fd.get(), &status) == 0 && (status.st_mode & kOwnerAll) != kOwnerAll)
        fchmod(fd.get(), kOwnerAll);  // the entries of a read-only directory cannot be removed
    Directory directory(fdopendir(fd.get()));
    if (directory) fd.release();
    return directory;
}

bool removeEntry(int parent, const char* name);

// Removes all entries. @return true when a last listing of the directory was empty
bool removeEntries(DIR* directory) {
    // Some file systems skip entries while others are removed. The loop lists the directory again
    // until it is empty or no entry can be removed.
    for (;;) {
        bool foundAny = false;
        bool removedAny = false;
        rewinddir(directory);
        while (const dirent* entry = readdir(directory)) {
            if (isDotName(entry->d_name)) continue;
            foundAny = true;
            if (removeEntry(dirfd(directory), entry->d_name)) removedAny = true;
        }
        if (!foundAny) return true;
        if (!removedAny) return false;
    }
}

bool removeEntry(int parent, const char* name) {
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return true;
    // The content is removed even when the parent's mode forbids the removal of the directory
    // itself.
    if (const Directory directory = openDirectory(parent, name)) removeEntries(directory.get());
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace

bool removeTree(const std::string& path) {
    // With a slash at the end of the name the system would follow a link.
    const std::string name = path_text::lastComponent(path);
    if (name.empty() || isDotName(name.c_str())) return false;
    const hcrpt::FileDescriptor parent(
        open(path_text::parentDirectory(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.isOpen()) return errno == ENOENT;
    return removeEntry(parent.get(), name.c_str());
}

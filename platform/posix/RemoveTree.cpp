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

// Every step below goes by the descriptor of the directory that holds the entry, so that nobody
// can lead it elsewhere by exchanging a directory for a link meanwhile.
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

// @return whether the directory was seen empty in the end.
bool removeEntries(DIR* directory) {
    // Some file systems skip entries when others vanish meanwhile: look again until nothing is
    // found or nothing more can be removed.
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
    // Also when its own parent forbids the removal: what is in it goes all the same.
    if (const Directory directory = openDirectory(parent, name)) removeEntries(directory.get());
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
}

}  // namespace

bool removeTree(const std::string& path) {
    // A slash at the end would make the system follow a link of that name.
    const std::string name = path_text::lastComponent(path);
    if (name.empty() || isDotName(name.c_str())) return false;
    const hcrpt::FileDescriptor parent(
        open(path_text::parentDirectory(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.isOpen()) return errno == ENOENT;
    return removeEntry(parent.get(), name.c_str());
}

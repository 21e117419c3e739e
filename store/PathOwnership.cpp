#include "store/PathOwnership.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/FileDescriptor.h"

namespace hcrpt {
namespace {

constexpr mode_t kOthers = S_IRWXG | S_IRWXO;

/// A slash at the end would make the system follow a link.
std::string withoutTrailingSlashes(std::string path) {
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    return path;
}

}  // namespace

Finding inspectPath(const std::string& path, PathKind kind) {
    Finding finding;
    // The descriptor makes sure that the inspected file is the changed one: the name may lead
    // elsewhere by then.
    const hcrpt::FileDescriptor place(
        open(withoutTrailingSlashes(path).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!place.isOpen() || fstat(place.get(), &status) != 0) {
        finding.missing = errno == ENOENT || errno == ENOTDIR;
        if (!finding.missing) finding.objection = std::strerror(errno);
        return finding;
    }
    if (S_ISLNK(status.st_mode)) {
        finding.objection = "is a symbolic link";
    } else if (status.st_uid != geteuid()) {
        finding.objection = "belongs to another user";
    } else if (kind == PathKind::directory ? !S_ISDIR(status.st_mode) : !S_ISREG(status.st_mode)) {
        finding.otherKind = true;
    } else if ((status.st_mode & kOthers) != 0) {
        // A descriptor of this kind cannot be changed itself.
        const std::string itself = "/proc/self/fd/" + std::to_string(place.get());
        if (chmod(itself.c_str(), status.st_mode & S_IRWXU) == 0)
            finding.restricted = true;
        else if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
            finding.objection = "can be written to by other users";
    }
    return finding;
}

}  // namespace hcrpt

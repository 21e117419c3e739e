#include "MakeDirectory.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "FileTests.h"
#include "PathText.h"

namespace {

const mode_t kOwnerOnly = 0700;

}  // namespace

bool makeDirectory(const std::string& path) {
    const std::string plain = path_text::withoutTrailingSlashes(path);
    if (plain.empty()) return false;
    if (mkdir(plain.c_str(), kOwnerOnly) != 0) return file_tests::isDir(plain);
    // Only an unusual umask takes rights from the owner. The umask itself stays unchanged, because
    // it also applies to files that other threads create.
    struct stat status = {};
    if (lstat(plain.c_str(), &status) == 0 && (status.st_mode & kOwnerOnly) != kOwnerOnly)
        fchmodat(AT_FDCWD, plain.c_str(), kOwnerOnly, AT_SYMLINK_NOFOLLOW);
    return true;
}

bool makeDirectories(const std::string& path) {
    const std::string plain = path_text::withoutTrailingSlashes(path);
    if (plain.empty()) return false;
    if (file_tests::isDir(plain)) return true;
    // From the top, so that parents which another process creates meanwhile are used.
    for (std::size_t slash = plain.find('/', 1); slash != std::string::npos;
         slash = plain.find('/', slash + 1)) {
        const std::string parent = plain.substr(0, slash);
        if (!file_tests::isDir(parent) && !makeDirectory(parent)) return false;
    }
    return makeDirectory(plain);
}

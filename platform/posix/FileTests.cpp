#include "FileTests.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "PathText.h"

namespace file_tests {
namespace {

// Checks the rights of the effective user, as open() does.
bool isAllowed(const std::string& path, int rights) {
    return faccessat(AT_FDCWD, path.c_str(), rights, AT_EACCESS) == 0;
}

}  // namespace

bool exists(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0;
}

bool isDir(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool isExecutable(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && isAllowed(path, X_OK);
}

bool isWriteable(const std::string& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0) return S_ISREG(status.st_mode) && isAllowed(path, W_OK);
    if (errno != ENOENT || path.empty() || path.back() == '/') return false;
    // A dangling link is not writable: writing would create a file wherever the link points.
    if (lstat(path.c_str(), &status) == 0) return false;
    const std::string directory = path_text::parentDirectory(path);
    return isDir(directory) && isAllowed(directory, W_OK | X_OK);
}

}  // namespace file_tests

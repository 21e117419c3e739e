#include "base/OwnedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace hcrpt {
namespace {

// Asked of the open file: the path may lead to another one a moment later.
bool isOwnedFile(int fd, struct stat& status) {
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) &&
           (status.st_uid == geteuid() || status.st_uid == 0);
}

}  // namespace

int openOwnedFile(const char* path, struct stat& status) {
    int fd = -1;
    do fd = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    while (fd < 0 && errno == EINTR);
    if (fd < 0 || isOwnedFile(fd, status)) return fd;
    close(fd);
    return -1;
}

}  // namespace hcrpt

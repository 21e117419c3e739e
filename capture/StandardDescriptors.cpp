#include "capture/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace hcrpt {

void occupyStandardDescriptors() {
    // An open file gets the lowest number that is free.
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && errno == EBADF)
            TEMP_FAILURE_RETRY(open("/dev/null", O_RDWR | O_NOCTTY));
}

}  // namespace hcrpt

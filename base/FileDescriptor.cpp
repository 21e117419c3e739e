#include "base/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace hcrpt {

int FileDescriptor::close() {
    if (m_fd < 0 || ::close(release()) == 0) return 0;
    return errno == EINTR ? 0 : -1;
}

}  // namespace hcrpt

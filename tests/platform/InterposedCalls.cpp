// Calls of the platform library, a shared one, reach the seams as well: a program's own functions
// of these names come before those of the C library.
#include <sys/syscall.h>
#include <unistd.h>

#include "support/LinkSeams.h"

namespace {

template <typename Result, typename... Arguments>
Result answered(const seams::Seam<Result, Arguments...>& seam, long call, Arguments... arguments) {
    if (seam)
        if (const auto answer = seam(arguments...)) return *answer;
    return static_cast<Result>(syscall(call, arguments...));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t read(int fd, void* data, std::size_t size) {
    return answered(seams::onRead, SYS_read, fd, data, size);
}

ssize_t write(int fd, const void* data, std::size_t size) {
    return answered(seams::onWrite, SYS_write, fd, data, size);
}

pid_t waitpid(pid_t pid, int* status, int options) {
    if (seams::onWaitpid)
        if (const auto answer = seams::onWaitpid(pid, status, options)) return *answer;
    return static_cast<pid_t>(syscall(SYS_wait4, pid, status, options, nullptr));
}
}
#pragma GCC visibility pop

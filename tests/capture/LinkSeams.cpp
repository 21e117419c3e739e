#include "capture/LinkSeams.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>

namespace seams {

std::function<std::optional<ssize_t>(int, const void*, std::size_t)> onWrite;
std::function<std::optional<int>(int)> onFsync;
std::function<std::optional<int>(const char*, int)> onOpen;
std::function<std::optional<int>(const timespec*)> onNanosleep;
std::function<std::optional<sighandler_t>(int)> onSignal;
std::function<std::optional<int>(int, bool)> onSigaction;
std::function<std::optional<FILE*>(const char*)> onPopen;
std::function<std::optional<int>(int, const rlimit&)> onSetrlimit;
std::function<std::optional<void*>(std::size_t, int)> onMmap;
std::optional<std::size_t> failingMallocSize;

}  // namespace seams

// The names that the linker's --wrap asks for; visible, as it lets shared libraries ask for them
// too.
#pragma GCC visibility push(default)
extern "C" {

ssize_t __real_write(int fd, const void* data, std::size_t size);
int __real_fsync(int fd);
int __real_open(const char* path, int flags, mode_t mode);
int __real_nanosleep(const timespec* wanted, timespec* left);
sighandler_t __real_signal(int number, sighandler_t handler);
int __real_sigaction(int number, const struct sigaction* action, struct sigaction* before);
FILE* __real_popen(const char* command, const char* mode);
int __real_setrlimit(int resource, const rlimit* limits);
void* __real_malloc(std::size_t size);
void* __real_mmap(void* address, std::size_t length, int protection, int flags, int fd,
                  off_t offset);

ssize_t __wrap_write(int fd, const void* data, std::size_t size) {
    if (seams::onWrite)
        if (const auto answer = seams::onWrite(fd, data, size)) return *answer;
    return __real_write(fd, data, size);
}

int __wrap_fsync(int fd) {
    if (seams::onFsync)
        if (const auto answer = seams::onFsync(fd)) return *answer;
    return __real_fsync(fd);
}

int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (seams::onOpen)
        if (const auto answer = seams::onOpen(path, flags)) return *answer;
    return __real_open(path, flags, mode);
}

int __wrap_nanosleep(const timespec* wanted, timespec* left) {
    if (seams::onNanosleep)
        if (const auto answer = seams::onNanosleep(wanted)) return *answer;
    return __real_nanosleep(wanted, left);
}

sighandler_t __wrap_signal(int number, sighandler_t handler) {
    if (seams::onSignal)
        if (const auto answer = seams::onSignal(number)) return *answer;
    return __real_signal(number, handler);
}

int __wrap_sigaction(int number, const struct sigaction* action, struct sigaction* before) {
    if (seams::onSigaction)
        if (const auto answer = seams::onSigaction(number, action != nullptr)) return *answer;
    return __real_sigaction(number, action, before);
}

FILE* __wrap_popen(const char* command, const char* mode) {
    if (seams::onPopen)
        if (const auto answer = seams::onPopen(command)) return *answer;
    return __real_popen(command, mode);
}

int __wrap_setrlimit(int resource, const rlimit* limits) {
    if (seams::onSetrlimit)
        if (const auto answer = seams::onSetrlimit(resource, *limits)) return *answer;
    return __real_setrlimit(resource, limits);
}

void* __wrap_mmap(void* address, std::size_t length, int protection, int flags, int fd,
                  off_t offset) {
    if (seams::onMmap)
        if (const auto answer = seams::onMmap(length, flags)) return *answer;
    return __real_mmap(address, length, protection, flags, fd, offset);
}

void* __wrap_malloc(std::size_t size) {
    if (seams::failingMallocSize == size) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}
}
#pragma GCC visibility pop

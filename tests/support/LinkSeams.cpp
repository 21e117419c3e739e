#include "support/LinkSeams.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>

namespace seams {

Seam<pid_t> onFork;
Seam<int, const char*, char* const*> onExecvp;
Seam<int, const char*, int> onOpen;
Seam<ssize_t, int, void*, std::size_t> onRead;
Seam<ssize_t, int, const void*, std::size_t> onWrite;
Seam<int, int> onFsync;
Seam<int, int> onClose;
Seam<int, int, int> onFlock;
Seam<pid_t, pid_t, int*, int> onWaitpid;
Seam<int, const char*, const char*> onRename;
Seam<int, const timespec*, timespec*> onNanosleep;
Seam<tm*, const std::time_t*, tm*> onLocaltime;
Seam<char*, const std::time_t*, char*> onCtime;
Seam<sighandler_t, int> onSignal;
Seam<int, int, bool> onSigaction;
Seam<FILE*, const char*> onPopen;
Seam<int, int, const rlimit&> onSetrlimit;
Seam<void*, std::size_t, int> onMmap;
std::optional<std::size_t> failingMallocSize;

}  // namespace seams

// The names that the linker's --wrap asks for; visible, as it lets shared libraries ask for them
// too. A real function is weak: it is missing where the program does not wrap it.
#pragma GCC visibility push(default)
extern "C" {

#define ANSWER_OR(seam, arguments)                                     \
    if (seams::seam)                                                   \
        if (const auto answer = seams::seam arguments) return *answer; \
    static_cast<void>(0)

#define WRAPPED_AS(result, name, parameters, seam, seen, passed) \
    [[gnu::weak]] result __real_##name parameters;               \
    result __wrap_##name parameters;                             \
    result __wrap_##name parameters {                            \
        ANSWER_OR(seam, seen);                                   \
        return __real_##name passed;                             \
    }

#define WRAPPED(result, name, parameters, seam, arguments) \
    WRAPPED_AS(result, name, parameters, seam, arguments, arguments)

WRAPPED(pid_t, fork, (), onFork, ())
WRAPPED(int, execvp, (const char* file, char* const* vector), onExecvp, (file, vector))
WRAPPED(ssize_t, read, (int fd, void* data, std::size_t size), onRead, (fd, data, size))
WRAPPED(ssize_t, write, (int fd, const void* data, std::size_t size), onWrite, (fd, data, size))
WRAPPED(int, fsync, (int fd), onFsync, (fd))
WRAPPED(int, close, (int fd), onClose, (fd))
WRAPPED(int, flock, (int fd, int operation), onFlock, (fd, operation))
WRAPPED(pid_t, waitpid, (pid_t pid, int* status, int options), onWaitpid, (pid, status, options))
WRAPPED(int, rename, (const char* from, const char* to), onRename, (from, to))
WRAPPED(int, nanosleep, (const timespec* wanted, timespec* left), onNanosleep, (wanted, left))
WRAPPED(tm*, localtime_r, (const std::time_t* time, tm* parts), onLocaltime, (time, parts))
WRAPPED(char*, ctime_r, (const std::time_t* time, char* text), onCtime, (time, text))
WRAPPED_AS(sighandler_t, signal, (int number, sighandler_t handler), onSignal, (number),
           (number, handler))
WRAPPED_AS(int, sigaction, (int number, const struct sigaction* action, struct sigaction* before),
           onSigaction, (number, action != nullptr), (number, action, before))
WRAPPED_AS(FILE*, popen, (const char* command, const char* mode), onPopen, (command),
           (command, mode))
WRAPPED_AS(int, setrlimit, (int resource, const rlimit* limits), onSetrlimit, (resource, *limits),
           (resource, limits))
WRAPPED_AS(void*, mmap,
           (void* address, std::size_t length, int protection, int flags, int fd, off_t offset),
           onMmap, (length, flags), (address, length, protection, flags, fd, offset))

[[gnu::weak]] int __real_open(const char* path, int flags, mode_t mode);
int __wrap_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    ANSWER_OR(onOpen, (path, flags));
    return __real_open(path, flags, mode);
}

[[gnu::weak]] void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
    if (seams::failingMallocSize == size) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}
}
#pragma GCC visibility pop

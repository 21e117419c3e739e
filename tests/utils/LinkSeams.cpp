#include "utils/LinkSeams.h"

namespace seams {

std::function<pid_t()> onFork;
std::function<int(const timespec*, timespec*)> onNanosleep;
std::function<std::optional<ssize_t>(int, const void*, std::size_t)> onWrite;
std::function<tm*(const std::time_t*, tm*)> onLocaltime;
std::function<char*(const std::time_t*, char*)> onCtime;
std::function<void(const char*, const char*)> beforeRename;

}  // namespace seams

// The names that the linker's --wrap asks for; visible, as it lets shared libraries ask for them
// too.
#pragma GCC visibility push(default)
extern "C" {

pid_t __real_fork();
int __real_nanosleep(const timespec* wanted, timespec* left);
ssize_t __real_write(int fd, const void* data, std::size_t size);
tm* __real_localtime_r(const std::time_t* time, tm* parts);
char* __real_ctime_r(const std::time_t* time, char* text);
int __real_rename(const char* from, const char* to);

pid_t __wrap_fork() {
    return seams::onFork ? seams::onFork() : __real_fork();
}

int __wrap_nanosleep(const timespec* wanted, timespec* left) {
    return seams::onNanosleep ? seams::onNanosleep(wanted, left) : __real_nanosleep(wanted, left);
}

ssize_t __wrap_write(int fd, const void* data, std::size_t size) {
    if (seams::onWrite)
        if (const auto answer = seams::onWrite(fd, data, size)) return *answer;
    return __real_write(fd, data, size);
}

tm* __wrap_localtime_r(const std::time_t* time, tm* parts) {
    return seams::onLocaltime ? seams::onLocaltime(time, parts) : __real_localtime_r(time, parts);
}

char* __wrap_ctime_r(const std::time_t* time, char* text) {
    return seams::onCtime ? seams::onCtime(time, text) : __real_ctime_r(time, text);
}

int __wrap_rename(const char* from, const char* to) {
    if (seams::beforeRename) seams::beforeRename(from, to);
    return __real_rename(from, to);
}
}
#pragma GCC visibility pop

#include "programs/StackWatch.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void* realMmap(void* address, std::size_t length, int protection, int flags, int fd, off_t offset) {
    return reinterpret_cast<void*>(
        syscall(SYS_mmap, address, length, protection, flags, fd, offset));
}

// A painted file of the given size, mapped at address (or anywhere). Null when nothing is watched.
char* watchedMemory(const char* name, std::size_t size, void* address) {
    const char* const directory = std::getenv(stack_watch::kDirectoryVariable);
    if (directory == nullptr) return nullptr;
    const std::string path = std::string(directory) + "/" + name;
    const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) std::abort();
    void* const memory = realMmap(address, size, PROT_READ | PROT_WRITE,
                                  MAP_SHARED | (address != nullptr ? MAP_FIXED : 0), fd, 0);
    close(fd);
    if (memory == MAP_FAILED) std::abort();
    std::memset(memory, stack_watch::kPaint, size);
    return static_cast<char*>(memory);
}

}  // namespace

extern "C" int sigaltstack(const stack_t* stack, stack_t* old) noexcept {
    if (stack != nullptr && std::getenv(stack_watch::kDirectoryVariable) != nullptr) {
        const std::size_t guard = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        void* const reserved = realMmap(nullptr, guard + stack->ss_size, PROT_NONE,
                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        stack_t watched = *stack;
        watched.ss_sp =
            watchedMemory("altstack", stack->ss_size, static_cast<char*>(reserved) + guard);
        return static_cast<int>(syscall(SYS_sigaltstack, &watched, old));
    }
    return static_cast<int>(syscall(SYS_sigaltstack, stack, old));
}

extern "C" void* mmap(void* address, std::size_t length, int protection, int flags, int fd,
                      off_t offset) noexcept {
    if ((flags & MAP_STACK) != 0 && (flags & MAP_ANONYMOUS) != 0) {
        if (char* const memory = watchedMemory("crashstack", length, nullptr)) return memory;
    }
    return realMmap(address, length, protection, flags, fd, offset);
}

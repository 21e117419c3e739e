// Installs the crash handlers and dies in the way that its first argument names. Exit code 3 tells
// that it did not die.
#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>

#include "hcrpt/HCrashCapture.h"

namespace {

constexpr int kStillAlive = 3;

[[gnu::noinline]] long recurse(long depth) {
    long volatile residue = depth;
    if (residue < 0) return 0;  // never: the stack ends first
    return recurse(residue + 1) + residue;
}

[[gnu::noinline]] void atDepth(int frames, const std::function<void()>& action) {
    if (frames <= 0)
        action();
    else
        atDepth(frames - 1, action);
    asm volatile("");  // keeps the call from becoming a jump
}

void nullWrite() {
    int volatile* volatile null = nullptr;
    *null = 1;
}

void nullCall() {
    void (*volatile function)() = nullptr;
    function();
    asm volatile("");  // keeps the call from becoming a jump
}

void beyondFile() {
    const int fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    const off_t end = lseek(fd, 0, SEEK_END);
    void* const mapping =
        mmap(nullptr, static_cast<std::size_t>(end) + (1 << 16), PROT_READ, MAP_PRIVATE, fd, 0);
    char volatile byte = static_cast<char*>(mapping)[end + (1 << 15)];
    static_cast<void>(byte);
}

// Puts an address that cannot be read where its caller's frame pointer was saved. From there on no
// unwinder finds the way; its attempt faults.
[[gnu::noinline]] void smashedStack() {
    void* volatile* const frame = static_cast<void**>(__builtin_frame_address(0));
    frame[0] = reinterpret_cast<void*>(0x10);
    nullWrite();
    asm volatile("");  // keeps the call from becoming a jump
}

// Writes beyond a block onto the size of what is left of the heap. The C library notices at the
// next request that it would serve from there, and aborts.
void corruptHeap() {
    constexpr std::size_t size = 100000;  // bytes; no free block is as large
    char* volatile block = static_cast<char*>(std::malloc(size));
    std::memset(block + malloc_usable_size(block), 0xff, sizeof(std::size_t));
    char* volatile next = static_cast<char*>(std::malloc(size));
    std::free(next);
}

const std::map<std::string, std::function<void()>> kWays = {
    {"null-write", nullWrite},
    {"illegal-instruction", [] { asm volatile("ud2"); }},
    {"division-by-zero",
     [] {
         int volatile zero = 0;
         int volatile result = 7 / zero;  // not 1: compilers know 1 / x without dividing
         static_cast<void>(result);
     }},
    {"beyond-file", beyondFile},
    {"abort", [] { std::abort(); }},
    {"quit", [] { std::raise(SIGQUIT); }},
    {"null-call", nullCall},
    {"recursion", [] { recurse(0); }},
    {"deep", [] { atDepth(300, nullWrite); }},
    {"smashed-stack", [] { atDepth(5, smashedStack); }},
    {"corrupt-heap", corruptHeap},
    {"uncaught-exception", [] { throw std::runtime_error("nobody catches this"); }},
    {"interrupt", [] { std::raise(SIGINT); }},
    {"none", [] {}},
};

// Made before the handlers, so it is destroyed after the library has given its resources back.
struct ExitTimeCrash {
    bool armed = false;
    ~ExitTimeCrash() {
        if (armed) nullWrite();
    }
} s_exitTimeCrash;

}  // namespace

int main(int argc, char** argv) {
    const std::string way = argc > 1 ? argv[1] : "";
    const bool self = argc > 2 && std::strcmp(argv[2], "self") == 0;
    if (way == "after-fork") {
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
        std::printf("parent %d\n", getpid());
        std::fflush(stdout);
        const pid_t child = fork();
        if (child != 0) _exit(0);
        nullWrite();
    }
    if (self)
        HCrashReporter::HCrptExceptionMgr::get()->registerSelfSignalHandlers();
    else
        HCrashReporter::HCrptExceptionMgr::get()->registerSignalHandlers();
    if (way == "static-destruction") {
        s_exitTimeCrash.armed = true;
        return kStillAlive;
    }
    const auto found = kWays.find(way);
    if (found == kWays.end()) {
        std::fprintf(stderr, "crash_host: no such way to die: %s\n", way.c_str());
        return 2;
    }
    found->second();
    return kStillAlive;
}

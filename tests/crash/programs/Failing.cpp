#include "crash/programs/Failing.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace zeb::failing {
namespace {

constexpr std::uintptr_t kNowhere = 0x12345678000;  // canonical, and never mapped

[[gnu::noinline]] long recurse(long depth) {
    long volatile residue = depth;
    if (residue < 0) return 0;  // never: the stack ends first
    return recurse(residue + 1) + residue;
}

}  // namespace

void nullWrite() {
    int volatile* volatile null = nullptr;
    *null = 1;
}

void stackOverflow() {
    recurse(0);
}

void divideByZero() {
    int volatile zero = 0;
    int volatile result = 7 / zero;
    static_cast<void>(result);
}

void illegalInstruction() {
    asm volatile("ud2");
}

void busError() {
    const int fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    const off_t end = lseek(fd, 0, SEEK_END);
    void* const mapping =
        mmap(nullptr, static_cast<std::size_t>(end) + (1 << 16), PROT_READ, MAP_PRIVATE, fd, 0);
    char volatile byte = static_cast<char*>(mapping)[end + (1 << 15)];
    static_cast<void>(byte);
}

void callAbort() {
    // Where nothing followed the call, its return address would be the next function's.
    bool volatile always = true;
    if (always) std::abort();
}

void throwUncaught() {
    bool volatile always = true;  // see callAbort()
    if (always) throw std::runtime_error("nobody catches this");
}

void callNull() {
    void (*volatile function)() = nullptr;
    function();
}

void callGenerated() {
    constexpr std::size_t kSize = 4096;
    constexpr unsigned char kCode[] = {
        // push %rbp; mov %rsp,%rbp; call *%rdi; pop %rbp; ret
        0x55, 0x48, 0x89, 0xe5, 0xff, 0xd7, 0x5d, 0xc3,
        // push %rbp; mov %rsp,%rbp; xor %eax,%eax; mov %al,(%rax); pop %rbp; ret
        0x55, 0x48, 0x89, 0xe5, 0x31, 0xc0, 0x88, 0x00, 0x5d, 0xc3};
    void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE | PROT_EXEC,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    std::memcpy(memory, kCode, sizeof kCode);
    auto* const inner = static_cast<unsigned char*>(memory) + 8;
    reinterpret_cast<void (*)(void*)>(memory)(inner);
}

void jumpNowhere() {
    void (*volatile function)() = reinterpret_cast<void (*)()>(kNowhere);
    function();
}

void smashReturnAddress() {
    // What an overrun array does to the frame: saved base pointer and return address.
    auto* const frame = static_cast<void* volatile*>(__builtin_frame_address(0));
    frame[0] = reinterpret_cast<void*>(kNowhere);
    frame[1] = reinterpret_cast<void*>(kNowhere);
}

void smashFramePointer() {
    auto* const frame = static_cast<void* volatile*>(__builtin_frame_address(0));
    frame[0] = reinterpret_cast<void*>(0x10);
    nullWrite();
}

void smashFrames() {
    auto* const frame = static_cast<unsigned char*>(__builtin_frame_address(0));
    std::memset(frame, 0x41, 512);
    nullWrite();
}

void doubleFree() {
    void* volatile block = std::malloc(40);
    std::free(block);
    std::free(block);
}

void faultInMalloc() {
    // Large enough not to be kept back for the thread, with a neighbour that keeps it apart from
    // the rest of the heap.
    constexpr std::size_t kLarge = 6000;
    auto* volatile block = static_cast<std::uintptr_t*>(std::malloc(kLarge));
    void* volatile neighbour = std::malloc(kLarge);
    std::uintptr_t* volatile freed = block;
    std::free(block);
    freed[0] = freed[1] = kNowhere;
    void* volatile next = std::malloc(3 * kLarge);
    static_cast<void>(next);
    static_cast<void>(neighbour);
}

void corruptTop() {
    constexpr std::size_t kSize = 3000;
    auto* volatile block = static_cast<unsigned char*>(std::malloc(kSize));
    // The heap's last block is followed by the size of what is left of it.
    while (block + malloc_usable_size(block) + 256 * 1024 < static_cast<unsigned char*>(sbrk(0)))
        block = static_cast<unsigned char*>(std::malloc(kSize));
    std::memset(block, 0x7f, malloc_usable_size(block) + 64);
    for (int i = 0; i < 1000; ++i) {
        void* volatile next = std::malloc(kSize);
        static_cast<void>(next);
    }
}

void atDepth(int calls, void (*failure)()) {
    if (calls <= 1)
        failure();
    else
        atDepth(calls - 1, failure);
    asm volatile("");  // keeps the call from becoming a jump
}

void waitForSignal() {
    for (;;) pause();
}

template <int number>
void worker() {
    int volatile* volatile null = nullptr;
    *null = number;
}

void failAsWorker(int number) {
    static constexpr void (*kFunctions[kWorkers])() = {worker<0>, worker<1>, worker<2>, worker<3>,
                                                       worker<4>, worker<5>, worker<6>, worker<7>};
    kFunctions[number]();
}

}  // namespace zeb::failing

void LONG_NAME() {
    zeb::failing::nullWrite();
}

void callLongName() {
    LONG_NAME();
}

// Runs on the interrupted stack, of which nearly nothing may be left: small frames, no heap.
#include "capture/CrashClaim.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace hcrpt::CrashClaim {
namespace {

/// A thread that crashes. Ids have at most 22 bits.
struct alignas(8) Crash {  // clang takes no lock only for what is aligned to its size
    std::uint64_t process : 24;
    std::uint64_t thread : 24;
    std::uint64_t signal : 16;
};
// In one piece, so that a second signal finds all of it or nothing. Process 0: none crashes.
std::atomic<Crash> s_crash{Crash{0, 0, 0}};
static_assert(std::atomic<Crash>::is_always_lock_free);

/// The process that owns the memory, in a page that the kernel clears in copies of the process. So
/// a child of fork(), whose memory is its own, finds 0 or its own id; one of vfork() finds another.
volatile pid_t* s_owner = nullptr;

// Not getpid() and gettid(), which a host may have replaced.
std::uint64_t processId() {
    return static_cast<std::uint64_t>(syscall(SYS_getpid));
}
std::uint64_t threadId() {
    return static_cast<std::uint64_t>(syscall(SYS_gettid));
}

/// More than the steps between the claim and the crash stack use.
[[gnu::noinline]] void touchStack() {
    char room[192];
    asm volatile("movb $0, %0" : "=m"(room[0]));
}

}  // namespace

void prepare() {
    if (s_owner != nullptr) return;
    const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const page =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    // Without the page every process counts as the owner of its memory, as nearly all are.
    if (page == MAP_FAILED) return;
    madvise(page, size, MADV_WIPEONFORK);
    s_owner = static_cast<volatile pid_t*>(page);
    ownMemory();
    // Otherwise the first child of vfork() that crashes in a forked process would pass for it.
    pthread_atfork(nullptr, nullptr, &ownMemory);
}

bool isMemoryBorrowed() {
    return s_owner != nullptr && *s_owner != 0 && *s_owner != static_cast<pid_t>(processId());
}

bool doesOwnerCrash() {
    return isMemoryBorrowed() && s_crash.load().process == static_cast<std::uint64_t>(*s_owner);
}

void ownMemory() {
    if (s_owner != nullptr) *s_owner = static_cast<pid_t>(processId());
}

Claim claim(int signal) {
    touchStack();
    constexpr std::uint64_t kId = 0xffffff;
    const Crash own = {processId() & kId, threadId() & kId, static_cast<std::uint16_t>(signal)};
    Crash first = s_crash.load();
    do {
        if (first.process == own.process)
            return first.thread == own.thread ? Claim::withinHandler : Claim::otherThread;
    } while (!s_crash.compare_exchange_weak(first, own));
    return Claim::taken;
}

int signalOfCrash() {
    const Crash crash = s_crash.load();
    return crash.process == processId() ? static_cast<int>(crash.signal) : 0;
}

bool isOfOtherThread() {
    const Crash crash = s_crash.load();
    return crash.process == processId() && crash.thread != threadId();
}

void awaitEnd() {
    timespec left = {kMaxCrashSeconds, 0};
    while (nanosleep(&left, &left) != 0) {
    }
}

}  // namespace hcrpt::CrashClaim

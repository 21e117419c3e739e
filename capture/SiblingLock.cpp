#include "capture/SiblingLock.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <new>

#include "capture/Watchdog.h"

namespace hcrpt::SiblingLock {
namespace {

/// Lies in memory that parent and children share. It starts as zeros.
struct Shared {
    pthread_mutex_t mutex = {};
    Predecessor holder;
    std::time_t deadline = 0;  ///< of the holder, seconds of the monotonic clock
};
Shared* s_shared = nullptr;

pid_t s_holder = 0;  // not a child that was forked while its parent crashed
Predecessor s_predecessor;

std::timespec now() {
    std::timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time;
}

bool holds() {
    return s_holder == getpid();
}

/// @return whether this thread has the mutex now.
bool hasLocked(int result) {
    // Every holder dies with the lock: that is how it is released.
    if (result == EOWNERDEAD) pthread_mutex_consistent(&s_shared->mutex);
    return result == 0 || result == EOWNERDEAD;
}

bool lockWithin(std::time_t seconds) {
    std::timespec end = now();
    end.tv_sec += seconds;
    return hasLocked(pthread_mutex_clocklock(&s_shared->mutex, CLOCK_MONOTONIC, &end));
}

void enterHolder() {
    s_holder = getpid();
    s_predecessor = s_shared->holder;
    s_shared->holder = {getpid(), Stage::started};
    s_shared->deadline = now().tv_sec + maxHoldSeconds;
}

}  // namespace

long maxHoldSeconds = Watchdog::kRawTrace + 3 * Watchdog::kCopies + 100 + Watchdog::kReport;

bool prepare() {
    if (s_shared != nullptr) return true;
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return false;
    auto* const shared = new (memory) Shared{};
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&shared->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    s_shared = shared;
    return true;
}

void acquire() {
    if (s_shared == nullptr || holds()) return;
    constexpr std::time_t kSlice = 1;  // seconds; the holder changes meanwhile, and its deadline
    while (!lockWithin(kSlice))
        if (now().tv_sec > s_shared->deadline) return;
    enterHolder();
}

bool tryAcquire() {
    if (s_shared == nullptr || holds()) return true;
    if (!hasLocked(pthread_mutex_trylock(&s_shared->mutex))) return false;
    enterHolder();
    return true;
}

void note(Stage stage) {
    if (holds()) s_shared->holder.stage = stage;
}

Predecessor predecessor() {
    return holds() ? s_predecessor : Predecessor{};
}

}  // namespace hcrpt::SiblingLock

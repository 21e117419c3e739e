// Deaths in which the threads, timers, signals and children of the host take part.
#include <alloca.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>

#include "crash/programs/Failing.h"
#include "crash/programs/Scenario.h"
#include "hcrpt/HCrashCapture.h"

namespace failing = zeb::failing;

namespace crash_scenarios {
namespace {

constexpr int kStillAlive = 3;
constexpr int kSetUpFailed = 2;

// --- Little stack
// ---------------------------------------------------------------------------------

std::uintptr_t lowEndOfStack() {
    pthread_attr_t attributes;
    void* low = nullptr;
    std::size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0 ||
        pthread_attr_getstack(&attributes, &low, &size) != 0)
        _exit(kSetUpFailed);
    pthread_attr_destroy(&attributes);
    return reinterpret_cast<std::uintptr_t>(low);
}

/// Calls the function with so many bytes of the stack left.
void withStackLeft(std::size_t left, void (*fail)()) {
    const std::uintptr_t low = lowEndOfStack();
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    volatile char* const taken = static_cast<volatile char*>(alloca(here - low - left));
    *taken = 1;
    fail();
}

// --- Children that share the memory
// -----------------------------------------------------------------

void failInVforkChild() {
    const pid_t child = vfork();
    if (child == 0) {
        failing::nullWrite();
        _exit(kStillAlive);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 128 + SIGSEGV)
        _exit(kSetUpFailed);
}

void failAfterVforkChild() {
    for (int i = 0; i < 3; ++i) failInVforkChild();
    failing::callAbort();
}

void failInForkedChildAfterVforkChild() {
    const pid_t child = fork();
    if (child == 0) failAfterVforkChild();
    int status = 0;
    waitpid(child, &status, 0);
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

// --- Cancellation
// -----------------------------------------------------------------------------------

void failWhenCancelled() {
    pthread_t worker;
    const auto run = [](void*) -> void* {
        pthread_cancel(pthread_self());  // acts at the next cancellation point
        failing::nullWrite();
        return nullptr;
    };
    if (pthread_create(&worker, nullptr, run, nullptr) != 0) _exit(kSetUpFailed);
    pthread_join(worker, nullptr);
}

// --- Timers
// -----------------------------------------------------------------------------------------

void ignoreSignal(int) {}

void startIntervalTimer(__itimer_which kind, int number, suseconds_t microseconds) {
    struct sigaction action = {};
    action.sa_handler = &ignoreSignal;
    sigaction(number, &action, nullptr);
    const itimerval interval = {{0, microseconds}, {0, microseconds}};
    setitimer(kind, &interval, nullptr);
}

void startPosixTimer(int number, long microseconds) {
    struct sigaction action = {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler == SIG_DFL) {
        action.sa_handler = &ignoreSignal;
        sigaction(number, &action, nullptr);
    }
    sigevent event = {};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = number;
    timer_t timer = nullptr;
    const itimerspec interval = {{0, microseconds * 1000}, {0, microseconds * 1000}};
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 ||
        timer_settime(timer, 0, &interval, nullptr) != 0)
        _exit(kSetUpFailed);
}

void failAmongIntervalTimers(suseconds_t microseconds) {
    startIntervalTimer(ITIMER_REAL, SIGALRM, microseconds);
    startIntervalTimer(ITIMER_VIRTUAL, SIGVTALRM, microseconds);
    startIntervalTimer(ITIMER_PROF, SIGPROF, microseconds);
    failing::nullWrite();
}

void failAmongPosixTimers() {
    for (const int number : {SIGALRM, SIGUSR1, SIGSTKFLT, SIGRTMIN, SIGRTMAX})
        startPosixTimer(number, 1000);
    failing::nullWrite();
}

// --- Ends of the process
// ----------------------------------------------------------------------------

void failOnWorker() {
    std::thread(&failing::nullWrite).detach();
    awaitRawTrace();
}

void exitOnTwoThreads() {
    failOnWorker();
    for (int i = 0; i < 2; ++i) std::thread([] { std::exit(kStillAlive); }).detach();
    std::exit(kStillAlive);
}

/// The usual crash of a program that ends: a worker uses what has been destroyed already. The
/// library's handlers from registration on have run by then.
bool s_failsWhileExiting = false;
const int s_lateExitHandler = std::atexit([] {
    if (s_failsWhileExiting) failOnWorker();
});

void failWhileExiting() {
    s_failsWhileExiting = true;
    std::exit(kStillAlive);
}

// --- Signals of the host
// ----------------------------------------------------------------------------

/// A thread that watches over the others ends the process when they stand still.
void failUnderImpatientThread() {
    std::thread([] {
        awaitRawTrace();
        for (;;) {
            kill(getpid(), SIGABRT);
            usleep(1000);
        }
    }).detach();
    failing::nullWrite();
}

// --- Alternate stacks
// -------------------------------------------------------------------------------

constexpr std::size_t kLargeStack = std::size_t{256} * 1024;

void useMuchStack(int) {
    char bytes[kLargeStack / 2];
    for (volatile char& byte : bytes) byte = 1;
}

/// The host handles a signal of its own on the stack that it had before it registered.
void failAfterOwnHandler() {
    stack_t stack = {};
    if (sigaltstack(nullptr, &stack) != 0 || stack.ss_size < kLargeStack) _exit(kSetUpFailed);
    struct sigaction action = {};
    action.sa_handler = &useMuchStack;
    action.sa_flags = SA_ONSTACK;
    sigaction(SIGUSR1, &action, nullptr);
    std::raise(SIGUSR1);
    failing::nullWrite();
}

}  // namespace

void awaitRawTrace() {
    const char* const path = HCrptResourceMgr::getStacktraceTempFilePath().c_str();
    while (access(path, F_OK) != 0) usleep(1000);
}

void useLargeAlternateStack() {
    stack_t stack = {};
    stack.ss_size = kLargeStack;
    stack.ss_sp =
        mmap(nullptr, kLargeStack, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (sigaltstack(&stack, nullptr) != 0) _exit(kSetUpFailed);
}

Scenarios threadScenarios() {
    return {
        {"vfork-child", [] { failInVforkChild(), _exit(128 + SIGSEGV); }},
        {"after-vfork-child", failAfterVforkChild},
        {"forked-child-after-vfork-child", failInForkedChildAfterVforkChild},
        {"cancelled", failWhenCancelled},
        {"interval-timers-1ms", [] { failAmongIntervalTimers(1000); }},
        {"interval-timers-50ms", [] { failAmongIntervalTimers(50000); }},
        {"posix-timers", failAmongPosixTimers},
        {"impatient-thread", failUnderImpatientThread},
        {"exit-beside", [] { failOnWorker(), std::exit(kStillAlive); }},
        {"return-beside", failOnWorker},
        {"quick-exit-beside", [] { failOnWorker(), std::quick_exit(kStillAlive); }},
        {"two-exits-beside", exitOnTwoThreads},
        {"fail-while-exiting", failWhileExiting},
        {"large-alternate-stack", failAfterOwnHandler},
    };
}

std::function<void()> littleStackScenario(const std::string& word) {
    const std::size_t number = word.find_last_not_of("0123456789") + 1;
    const std::string kind = word.substr(0, number);
    const bool aborts = kind == "abort-with-stack-";
    if (!aborts && kind != "null-write-with-stack-") return nullptr;
    const std::size_t left = std::stoul(word.substr(number));
    return
        [left, aborts] { withStackLeft(left, aborts ? &failing::callAbort : &failing::nullWrite); };
}

}  // namespace crash_scenarios

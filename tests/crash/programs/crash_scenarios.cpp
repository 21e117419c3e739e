// A host that starts crash reporting and dies in the way that its first argument names, "@worker",
// "@enrolled" or "@watched" after the word saying where: on a plain worker thread, on one that has
// registered itself, with an eye on the allocator. Exit code 3 tells that it did not die.
//
// Right before the failure the file "failing" appears in the working directory.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "HUTPlatform.h"
#include "crash/programs/AllocatorWatch.h"
#include "crash/programs/Failing.h"
#include "crash/programs/Sandbox.h"
#include "crash/programs/Scenario.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptSettings.h"

namespace failing = zeb::failing;

namespace {

constexpr int kStillAlive = 3;
constexpr std::uintptr_t kNowhere = 0x12345678000;  // canonical, and never mapped
constexpr unsigned kLong = 1000;                    // seconds; longer than any test

using Action = std::function<void()>;

void* runAction(void* action) {
    (*static_cast<Action*>(action))();
    return nullptr;
}

pthread_t startThread(const Action& action) {
    pthread_t thread;
    // The action is left behind: its thread may outlive every owner.
    if (pthread_create(&thread, nullptr, &runAction, new Action(action)) != 0) {
        std::perror("crash_scenarios: pthread_create");
        _exit(2);
    }
    return thread;
}

void runOnWorker(const Action& action) {
    pthread_join(startThread(action), nullptr);
}

void startSleepers(int count) {
    for (int i = 0; i < count; ++i) startThread([] { sleep(kLong); });
}

void tellThatItFails() {
    close(creat("failing", 0600));
}

void waitForFile(const char* path) {
    while (access(path, F_OK) != 0) usleep(1000);
}

// --- The surroundings of a failure --------------------------------------------------------------

void withLockedStdout() {
    startThread([] {
        flockfile(stdout);
        close(creat("stdout-is-locked", 0600));
        sleep(kLong);
    });
    waitForFile("stdout-is-locked");
    tellThatItFails();
    failing::nullWrite();
}

void withBusyLoader() {
    startThread([] { dlopen(SLOW_PLUGIN, RTLD_NOW); });
    waitForFile("slow-plugin-is-loading");
    tellThatItFails();
    failing::nullWrite();
}

void twoThreadsAtOnce() {
    startSleepers(100);
    static pthread_barrier_t barrier;
    pthread_barrier_init(&barrier, nullptr, 2);
    const auto fail = [] {
        pthread_barrier_wait(&barrier);
        failing::nullWrite();
    };
    tellThatItFails();
    startThread(fail);
    runOnWorker(fail);
}

// The heap takes its locks only where there is more than one thread.
void withSecondThread(const Action& action) {
    startSleepers(1);
    action();
}

void abortAfterOutput() {
    std::printf("text of the host\n");
    failing::callAbort();
}

int inForkedChild() {
    const pid_t child = fork();
    if (child == 0) {
        failing::nullWrite();
        _exit(kStillAlive);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

/// Each in a function of its own, all at once.
int inEveryWorker() {
    int starts[2];
    if (pipe2(starts, O_CLOEXEC) != 0) _exit(2);
    for (int number = 0; number < failing::kWorkers; ++number) {
        if (fork() != 0) continue;
        char never = 0;
        close(starts[1]);
        static_cast<void>(read(starts[0], &never, 1));  // ends when the parent closes the pipe
        failing::failAsWorker(number);
        _exit(kStillAlive);
    }
    close(starts[1]);
    int ended = 0;
    for (int status = 0; wait(&status) > 0;)
        if (WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGSEGV) ++ended;
    return ended;
}

/// The first child is killed while it waits for its log; then the second one fails.
int afterAKilledSibling() {
    for (int number = 0; number < 2; ++number) {
        const pid_t child = fork();
        if (child == 0) {
            failing::failAsWorker(number);
            _exit(kStillAlive);
        }
        if (number == 0) {
            waitForFile("kill-the-first");
            kill(child, SIGKILL);
        }
        int status = 0;
        while (waitpid(child, &status, 0) < 0) {
        }
        if (number == 0) waitForFile("fail-the-second");
    }
    return 0;
}

void withoutDescriptors(rlim_t hard) {
    rlimit limit = {64, hard};
    setrlimit(RLIMIT_NOFILE, &limit);
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
    failing::nullWrite();
}

void withFullPipe() {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) _exit(2);
    char block[4096] = {};
    while (write(ends[1], block, sizeof block) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDOUT_FILENO);
    failing::nullWrite();
}

/// Leaves the hard limit alone, which an ordinary user cannot raise.
void reachLimit(__rlimit_resource resource, rlim_t soft) {
    rlimit limit = {};
    getrlimit(resource, &limit);
    limit.rlim_cur = soft;
    if (setrlimit(resource, &limit) != 0) _exit(2);
}

void withoutFileSize() {
    reachLimit(RLIMIT_FSIZE, 0);
    failing::nullWrite();
}

std::size_t addressSpace() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void withoutAddressSpace(bool hard) {
    constexpr std::size_t kLeft = 16 * 1024;  // less than starting a tool takes
    const rlim_t reached = addressSpace() + kLeft;
    reachLimit(RLIMIT_AS, reached);
    const rlimit both = {reached, reached};
    if (hard) setrlimit(RLIMIT_AS, &both);
    failing::nullWrite();
}

void withoutData() {
    reachLimit(RLIMIT_DATA, 4096);  // the kernel passes over a limit of 0
    failing::nullWrite();
}

void withoutEnvironment(char** instead) {
    environ = instead;
    failing::nullWrite();
}

/// An environment overrun by something else.
void withWildEntries() {
    environ[0] = reinterpret_cast<char*>(kNowhere);
    failing::nullWrite();
}

/// What the crash handler calls to protect itself, and to start tools.
const std::vector<long> kProtectiveCalls = {
    SYS_clone,        SYS_clone3,      SYS_vfork, SYS_fork,  SYS_execve, SYS_process_vm_readv,
    SYS_prlimit64,    SYS_getrlimit,   SYS_prctl, SYS_umask, SYS_poll,   SYS_setitimer,
    SYS_timer_create, SYS_sigaltstack, SYS_pipe2, SYS_fchmod};

void inSandbox(sandbox::Answer answer) {
    if (answer == sandbox::Answer::kill)
        sandbox::allowOnly(
            {SYS_openat, SYS_write, SYS_fsync, SYS_getpid, SYS_gettid, SYS_rt_sigprocmask}, answer);
    else
        sandbox::forbid(kProtectiveCalls, answer);
    failing::nullWrite();
}

constexpr char kCutLibrary[] = "./libzeb_cut.so";

/// A function of a library of its own copy.
void* functionToCut(const char* name) {
    std::ofstream(kCutLibrary, std::ios::binary)
        << std::ifstream(LIBRARY_TO_CUT, std::ios::binary).rdbuf();
    return dlsym(dlopen(kCutLibrary, RTLD_NOW), name);
}

void cutLibrary() {
    if (truncate(kCutLibrary, 0) != 0) _exit(2);
}

void callIntoCutLibrary() {
    const auto function = reinterpret_cast<void (*)()>(functionToCut("neighbourOfAbort"));
    cutLibrary();
    function();
}

void returnIntoCutLibrary() {
    reinterpret_cast<void (*)(void (*)())>(functionToCut("callBack"))(cutLibrary);
}

void failBelowCutLibrary() {
    reinterpret_cast<void (*)(void (*)())>(functionToCut("callBack"))([] {
        cutLibrary();
        failing::nullWrite();
    });
}

/// Tells what the stand-ins below are to do.
enum class Fault { none, atFirstStep, atReport };
Fault s_fault = Fault::none;

using Popen = FILE* (*)(const char*, const char*);
const auto s_realPopen = reinterpret_cast<Popen>(dlsym(RTLD_NEXT, "popen"));

void faultInHandler(Fault fault) {
    s_fault = fault;
    failing::callAbort();
}

const std::map<std::string, Action> kScenarios = {
    {"null-write", failing::nullWrite},
    {"stack-overflow", failing::stackOverflow},
    {"abort", failing::callAbort},
    {"abort-after-output", abortAfterOutput},
    {"uncaught-exception", failing::throwUncaught},
    {"division-by-zero", failing::divideByZero},
    {"illegal-instruction", failing::illegalInstruction},
    {"bus-error", failing::busError},
    {"wait-for-signal", failing::waitForSignal},
    {"double-free", failing::doubleFree},
    {"fault-in-malloc", failing::faultInMalloc},
    {"fault-in-malloc-locked", [] { withSecondThread(failing::faultInMalloc); }},
    {"corrupt-heap", failing::corruptTop},
    {"corrupt-heap-locked", [] { withSecondThread(failing::corruptTop); }},
    {"stdout-locked", withLockedStdout},
    {"dlopen-constructor", [] { dlopen(FAILING_PLUGIN, RTLD_NOW); }},
    {"loader-locked", withBusyLoader},
    {"two-threads", twoThreadsAtOnce},
    {"fault-in-routine", [] { faultInHandler(Fault::atReport); }},
    {"fault-at-first-step", [] { faultInHandler(Fault::atFirstStep); }},
    {"smashed-return-address", failing::smashReturnAddress},
    {"smashed-frames", failing::smashFrames},
    {"null-call", failing::callNull},
    {"jump-nowhere", failing::jumpNowhere},
    {"deep-150", [] { failing::atDepth(150); }},
    {"deep-1500", [] { failing::atDepth(1500); }},
    {"long-name", callLongName},
    {"forked-child", [] { _exit(inForkedChild()); }},
    {"forked-crowd", [] { _exit(inEveryWorker()); }},
    {"killed-sibling", [] { _exit(afterAKilledSibling()); }},
    {"no-descriptors", [] { withoutDescriptors(4096); }},
    {"no-descriptors-hard", [] { withoutDescriptors(64); }},
    {"ignored-sigchld",
     [] {
         std::signal(SIGCHLD, SIG_IGN);
         failing::nullWrite();
     }},
    {"full-pipe", withFullPipe},
    {"threads-200",
     [] {
         startSleepers(200);
         failing::nullWrite();
     }},
    {"no-address-space", [] { withoutAddressSpace(false); }},
    {"no-address-space-hard", [] { withoutAddressSpace(true); }},
    {"no-data", withoutData},
    {"no-file-size", withoutFileSize},
    {"cleared-environment",
     [] {
         clearenv();
         failing::nullWrite();
     }},
    {"environment-without-session",
     [] {
         unsetenv("ZEB_SESSION_INFO");
         failing::nullWrite();
     }},
    {"wild-environment", [] { withoutEnvironment(reinterpret_cast<char**>(kNowhere)); }},
    {"wild-entries", withWildEntries},
    {"sandbox-kill", [] { inSandbox(sandbox::Answer::kill); }},
    {"sandbox-error", [] { inSandbox(sandbox::Answer::error); }},
    {"sandbox-trap",
     [] {
         sandbox::failForbiddenCalls();
         inSandbox(sandbox::Answer::trap);
     }},
    {"generated-code", failing::callGenerated},
    {"cut-library", callIntoCutLibrary},
    {"return-into-cut-library", returnIntoCutLibrary},
    {"below-cut-library", failBelowCutLibrary},
    {"mask-of-all-rights",
     [] {
         umask(0777);
         failing::nullWrite();
     }},
};

/// Shows that the watch on the allocator sees a call.
void allocateAndFail() {
    void* volatile block = std::malloc(100);
    std::free(block);
    failing::nullWrite();
}

/// "library:function" of a library beside this program, which the function is called in.
Action loadedAction(const std::string& word) {
    const std::size_t colon = word.find(':');
    const std::string library = "libzeb_" + word.substr(0, colon) + ".so";
    const auto function = reinterpret_cast<void (*)()>(
        dlsym(dlopen(library.c_str(), RTLD_NOW), word.substr(colon + 1).c_str()));
    if (function == nullptr) throw std::out_of_range(word);
    return function;
}

Action actionOf(const std::string& word) {
    if (word == "allocate") return allocateAndFail;
    if (word.find(':') != std::string::npos) return loadedAction(word);
    if (Action action = crash_scenarios::littleStackScenario(word)) return action;
    const crash_scenarios::Scenarios others = crash_scenarios::threadScenarios();
    const auto found = others.find(word);
    return found != others.end() ? found->second : kScenarios.at(word);
}

void runWatched(const Action& action) {
    static const std::string copy = HCrashRptSettings::getCrashStorePath() + "/hs_mangled_err_pid" +
                                    std::to_string(getpid()) + ".log";
    allocator_watch::arm(copy.c_str());
    action();
}

void run(const std::string& word, const std::string& where) {
    const Action action = actionOf(word);
    tellThatItFails();
    if (where.empty()) return action();
    if (where == "worker") return runOnWorker(action);
    if (where == "watched") return runWatched(action);
    if (where == "enrolled")
        return runOnWorker([&] {
            if (!HCrashReporter::registerThisThread()) _exit(2);
            action();
        });
    throw std::out_of_range(where);
}

}  // namespace

// Stand-ins for functions that the crash handler calls. They ask the loader for nothing, whose lock
// may be held.
extern "C" {
off_t lseek(int fd, off_t offset, int whence) noexcept {
    if (s_fault == Fault::atFirstStep) failing::nullWrite();
    return syscall(SYS_lseek, fd, offset, whence);
}
FILE* popen(const char* command, const char* mode) {
    if (s_fault == Fault::atReport) failing::nullWrite();
    return s_realPopen(command, mode);
}
}

int main(int argc, char** argv) {
    const std::string argument = argc > 1 ? argv[1] : "";
    const std::size_t at = argument.find('@');
    HUTPlatform::setProduct({"Failing", "4.2", 4711, "2026-11-21"});
    const std::string word = argument.substr(0, at);
    if (word == "large-alternate-stack") crash_scenarios::useLargeAlternateStack();
    HCrashReporter::registration();
    try {
        run(word, at == std::string::npos ? "" : argument.substr(at + 1));
    } catch (const std::out_of_range&) {
        std::fprintf(stderr, "crash_scenarios: no such scenario: %s\n", argument.c_str());
        return 2;
    }
    return kStillAlive;
}

#include "crash/SystemCallTrace.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace crash_test {
namespace {

using Clock = std::chrono::steady_clock;
using test_support::ExitState;

constexpr int kCallStop = SIGTRAP | 0x80;  // with PTRACE_O_TRACESYSGOOD
constexpr long kOptions = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK |
                          PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC;

void setRegister(pid_t pid, std::size_t offset, std::uint64_t value) {
    ptrace(PTRACE_POKEUSER, pid, offset, value);
}

void setResult(pid_t pid, long result) {
    setRegister(pid, offsetof(user_regs_struct, rax), static_cast<std::uint64_t>(result));
}

void setThirdArgument(pid_t pid, std::uint64_t value) {
    setRegister(pid, offsetof(user_regs_struct, rdx), value);
}

void skipCall(pid_t pid) {
    setRegister(pid, offsetof(user_regs_struct, orig_rax), static_cast<std::uint64_t>(-1));
}

std::uint64_t wordAt(pid_t pid, std::uint64_t address) {
    return static_cast<std::uint64_t>(ptrace(PTRACE_PEEKDATA, pid, address, nullptr));
}

std::string textAt(pid_t pid, std::uint64_t address) {
    std::string text;
    while (text.size() < 4096) {
        const std::uint64_t word = wordAt(pid, address + text.size());
        const auto* const bytes = reinterpret_cast<const char*>(&word);
        const std::size_t length = strnlen(bytes, sizeof word);
        text.append(bytes, length);
        if (length < sizeof word) break;
    }
    return text;
}

/// Where in its arguments a call has a path, and the directory that it is looked up in.
struct PathArguments {
    int directory;  // -1: none
    int path;
};

std::optional<PathArguments> pathArguments(long number) {
    switch (number) {
        case SYS_mkdir:
        case SYS_unlink:
        case SYS_execve:
        case SYS_chmod:
        case SYS_access:
        case SYS_readlink:
            return PathArguments{-1, 0};
        case SYS_rename:
            return PathArguments{-1, 1};
        case SYS_openat:
        case SYS_newfstatat:
        case SYS_faccessat2:
        case SYS_unlinkat:
            return PathArguments{0, 1};
        case SYS_renameat:
        case SYS_renameat2:
            return PathArguments{2, 3};
        default:
            return std::nullopt;
    }
}

bool hasDescriptorFirst(long number) {
    const long numbers[] = {SYS_read,   SYS_write,     SYS_writev,    SYS_close,
                            SYS_fsync,  SYS_ftruncate, SYS_lseek,     SYS_fcntl,
                            SYS_fchmod, SYS_dup2,      SYS_getdents64};
    return std::find(std::begin(numbers), std::end(numbers), number) != std::end(numbers);
}

/// The next child that stopped or ended; 0 when the time is over.
pid_t nextEvent(int& status, Clock::time_point end) {
    sigset_t childEvents;
    sigemptyset(&childEvents);
    sigaddset(&childEvents, SIGCHLD);
    for (;;) {
        const pid_t pid = waitpid(-1, &status, __WALL | WNOHANG);
        if (pid > 0) return pid;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
        if (pid < 0 || left.count() <= 0) return 0;
        timespec pause = {};
        pause.tv_sec = left.count() / 1000;
        pause.tv_nsec = left.count() % 1000 * 1000000;
        sigtimedwait(&childEvents, nullptr, &pause);
    }
}

/// SIGCHLD waits until it is asked for.
class PendingChildEvents {
  public:
    PendingChildEvents() {
        sigset_t childEvents;
        sigemptyset(&childEvents);
        sigaddset(&childEvents, SIGCHLD);
        sigprocmask(SIG_BLOCK, &childEvents, &m_before);
    }
    ~PendingChildEvents() { restore(); }
    PendingChildEvents(const PendingChildEvents&) = delete;
    PendingChildEvents& operator=(const PendingChildEvents&) = delete;
    void restore() const { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

  private:
    sigset_t m_before = {};
};

[[noreturn]] void become(const SystemCallTrace::Program& program) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int out = open(program.output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    // What the system's tools say of pipes that nobody reads any more.
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (out < 0 || dup2(out, STDOUT_FILENO) < 0 || dup2(null, STDERR_FILENO) < 0 ||
        chdir(program.directory.c_str()) != 0)
        _exit(126);
    for (const auto& [name, value] : program.environment) setenv(name.c_str(), value.c_str(), 1);
    if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(125);
    execl(program.path.c_str(), program.path.c_str(), program.argument.c_str(), nullptr);
    _exit(127);
}

}  // namespace

bool SystemCallTrace::isAllowed() {
    SystemCallTrace trial;
    Program program;
    program.path = "/bin/sh";
    program.argument = "/dev/null";
    program.directory = "/";
    program.output = "/dev/null";
    program.fatalSignal = SIGSEGV;
    trial.m_dies = true;  // every call of it counts
    trial.run(program);
    return !trial.m_calls.empty();
}

ExitState SystemCallTrace::run(const Program& program) {
    const PendingChildEvents pending;
    m_fatalSignal = program.fatalSignal;
    m_main = fork();
    if (m_main == 0) {
        pending.restore();
        become(program);
    }
    int status = 0;
    // The first stop is that of the new program.
    if (waitpid(m_main, &status, 0) != m_main || !WIFSTOPPED(status)) return {};
    ptrace(PTRACE_SETOPTIONS, m_main, nullptr, kOptions);
    m_tracees[m_main].descriptors = {{0, "stdin"}, {1, "stdout"}, {2, "stderr"}};
    m_tracees[m_main].seen = true;
    resume(m_main, 0);

    auto end = Clock::now() + deadline;
    bool inTime = true;
    for (;;) {
        const pid_t pid = nextEvent(status, end);
        if (pid == 0) {
            if (!inTime) return {};
            inTime = false;
            kill(m_main, SIGKILL);
            end = Clock::now() + std::chrono::seconds(10);
        } else if (WIFSTOPPED(status)) {
            onStop(pid, status);
        } else {
            m_tracees.erase(pid);
            if (pid != m_main) continue;
            if (!inTime) return {};
            return WIFEXITED(status) ? test_support::exitedWith(WEXITSTATUS(status))
                                     : test_support::killedBy(WTERMSIG(status));
        }
    }
}

void SystemCallTrace::resume(pid_t pid, int signal) const {
    ptrace(m_dies ? PTRACE_SYSCALL : PTRACE_CONT, pid, nullptr, signal);
}

void SystemCallTrace::onStop(pid_t pid, int status) {
    Tracee& tracee = m_tracees[pid];
    const int signal = WSTOPSIG(status);
    const int event = status >> 16;
    if (!tracee.seen) {
        // Stops once before its first step, and has what its maker had open.
        tracee.seen = true;
        tracee.descriptors = m_tracees[m_main].descriptors;
        resume(pid, 0);
    } else if (signal == kCallStop) {
        __ptrace_syscall_info info = {};
        if (ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) > 0) {
            if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
                Call call;
                call.number = static_cast<long>(info.entry.nr);
                std::copy(std::begin(info.entry.args), std::end(info.entry.args),
                          call.arguments.begin());
                call.inChild = pid != m_main;
                onCallEntry(pid, tracee, call);
            } else if (info.op == PTRACE_SYSCALL_INFO_EXIT && tracee.call) {
                onCallExit(pid, tracee, info.exit.rval);
            }
        }
        resume(pid, 0);
    } else if (event == PTRACE_EVENT_EXEC && pid != m_main) {
        ptrace(PTRACE_DETACH, pid, nullptr, 0);
        m_tracees.erase(pid);
    } else if (event != 0) {
        resume(pid, 0);
    } else {
        if (pid == m_main && signal == m_fatalSignal && !m_dies) {
            m_dies = true;
            if (atFailure) atFailure(pid);
        }
        resume(pid, signal);
    }
}

void SystemCallTrace::onCallEntry(pid_t pid, Tracee& tracee, const Call& call) {
    // The C library makes names for new files without it, but for some chosen by chance.
    if (call.number == SYS_getrandom) return;
    tracee.call = m_calls.size();
    m_calls.push_back(call);
    m_calls.back().target = targetOf(pid, tracee, call);
    if (fault && fault->call == *tracee.call) {
        startFault(pid, tracee, call);
    } else if (call.number == SYS_clock_nanosleep) {
        skipCall(pid);
        tracee.answer = 0;
    }
}

void SystemCallTrace::startFault(pid_t pid, Tracee& tracee, const Call& call) {
    if (fault->error) {
        tracee.answer = -*fault->error;
        if (call.number != SYS_close) skipCall(pid);
    } else if (call.number == SYS_writev) {
        setThirdArgument(pid, call.arguments[2] / 2);
    } else {
        setThirdArgument(pid, static_cast<std::uint64_t>(fault->bytes) / 2);
    }
}

void SystemCallTrace::onCallExit(pid_t pid, Tracee& tracee, long result) {
    const std::size_t index = *tracee.call;
    Call& call = m_calls[index];
    tracee.call.reset();
    if (tracee.answer) {
        result = *tracee.answer;
        setResult(pid, result);
        tracee.answer.reset();
    }
    // A call leaves the registers of its arguments alone.
    if (fault && fault->call == index) setThirdArgument(pid, call.arguments[2]);
    call.result = result;
    if (result >= 0 && call.number == SYS_openat)
        tracee.descriptors[static_cast<int>(result)] = call.target;
    if (result == 0 && call.number == SYS_pipe2) {
        const std::uint64_t ends = wordAt(pid, call.arguments[0]);
        tracee.descriptors[static_cast<int>(ends)] = "pipe";
        tracee.descriptors[static_cast<int>(ends >> 32)] = "pipe";
    }
    if (afterCall) afterCall(call);
}

std::string SystemCallTrace::targetOf(pid_t pid, const Tracee& tracee, const Call& call) const {
    const auto nameOf = [&](std::uint64_t descriptor) {
        const auto found = tracee.descriptors.find(static_cast<int>(descriptor));
        return found == tracee.descriptors.end() ? std::string() : found->second;
    };
    if (call.number == SYS_poll) return nameOf(wordAt(pid, call.arguments[0]));
    const auto path = pathArguments(call.number);
    if (!path) return hasDescriptorFirst(call.number) ? nameOf(call.arguments[0]) : "";
    const std::string text = textAt(pid, call.arguments[static_cast<std::size_t>(path->path)]);
    if (path->directory < 0 || (!text.empty() && text.front() == '/')) return text;
    const std::string directory = nameOf(call.arguments[static_cast<std::size_t>(path->directory)]);
    return text.empty() ? directory : directory + "/" + text;
}

}  // namespace crash_test

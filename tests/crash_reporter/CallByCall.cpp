#include "CallByCall.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

namespace crash_reporter_test {
namespace {

constexpr int kSyscallStop = SIGTRAP | 0x80;

bool changesFiles(const __ptrace_syscall_info& call) {
    const auto makes = [](std::uint64_t flags) { return (flags & (O_CREAT | O_TRUNC)) != 0; };
    switch (call.entry.nr) {
        case SYS_open:
            return makes(call.entry.args[1]);
        case SYS_openat:
            return makes(call.entry.args[2]);
        case SYS_creat:
        case SYS_write:
        case SYS_writev:
        case SYS_pwrite64:
        case SYS_rename:
        case SYS_renameat:
        case SYS_renameat2:
        case SYS_link:
        case SYS_linkat:
        case SYS_unlink:
        case SYS_unlinkat:
        case SYS_rmdir:
        case SYS_mkdir:
        case SYS_mkdirat:
        case SYS_truncate:
        case SYS_ftruncate:
        case SYS_chmod:
        case SYS_fchmod:
        case SYS_fchmodat:
            return true;
        default:
            return false;
    }
}

bool isStop(const siginfo_t& event) {
    return event.si_code == CLD_TRAPPED || event.si_code == CLD_STOPPED;
}

void goOn(pid_t pid, int signalNumber) {
    ptrace(PTRACE_SYSCALL, pid, nullptr, reinterpret_cast<void*>(static_cast<long>(signalNumber)));
}

}  // namespace

bool CallByCall::isPossible() {
    ChildProcess child =
        ChildProcess::fork([] { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0 ? 0 : 1; });
    return child.wait() == exitedWith(0);
}

void CallByCall::run(const std::function<void(pid_t)>& finish) {
    ChildProcess reporter = const_cast<CrashSession&>(m_session).startReporter(
        [] { ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); });
    m_reporter = reporter.pid();
    while (m_session.timeLeft().count() > 0 && !hasEnded(reporter)) {
        if (handleOne()) continue;
        if (!m_killed || m_victims == Victims::pass) finish(m_reporter);
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    m_end = reporter.wait(m_session.timeLeft());
    // What has been killed is not to stay in the process table, as if it ran: it ends for its
    // tracer first, and once more for its parent, which this process has become.
    for (const pid_t pid : m_followed) kill(pid, SIGKILL);
    m_ended.insert(m_followed.begin(), m_followed.end());
    for (const pid_t pid : m_ended)
        while (waitpid(pid, nullptr, __WALL) == pid) {
        }
}

/// Looks without taking the event: its stops are told here, too, and left to handleOne().
bool CallByCall::hasEnded(ChildProcess& reporter) const {
    siginfo_t event = {};
    const int kinds = WEXITED | WNOHANG | WNOWAIT | __WALL;
    return waitid(P_PID, static_cast<id_t>(m_reporter), &event, kinds) == 0 && event.si_pid != 0 &&
           !isStop(event) && reporter.hasEnded();
}

/// @return whether there was a stop, or an end of a forked process.
bool CallByCall::handleOne() {
    std::set<pid_t> all = m_followed;
    all.insert(m_reporter);
    for (const pid_t pid : all) {
        siginfo_t event = {};
        const int kinds = WSTOPPED | WNOHANG | __WALL | (pid == m_reporter ? 0 : WEXITED);
        if (waitid(P_PID, static_cast<id_t>(pid), &event, kinds) != 0 || event.si_pid == 0)
            continue;
        // For a stop of a followed process the status holds the signal and, above it, the event.
        if (isStop(event))
            handleStop(pid, event.si_status);
        else
            m_ended.insert(m_followed.extract(pid));
        return true;
    }
    return false;
}

void CallByCall::handleStop(pid_t pid, int status) {
    const int number = status & 0xff;
    const int event = status >> 8;
    if (event == PTRACE_EVENT_EXEC) {
        // Another program: what it does is not the crash reporter's.
        if (pid != m_reporter) {
            m_followed.erase(pid);
            ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
            return;
        }
    } else if (event != 0) {
        unsigned long child = 0;
        ptrace(PTRACE_GETEVENTMSG, pid, nullptr, &child);
        m_followed.insert(static_cast<pid_t>(child));
    } else if (number == kSyscallStop) {
        if (isChosen(pid)) return killFrom(pid);
    } else if (number == SIGTRAP) {
        // It runs the program now.
        ptrace(PTRACE_SETOPTIONS, pid, nullptr,
               reinterpret_cast<void*>(PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK |
                                       PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                                       PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL));
    } else if (number != SIGSTOP) {  // with which a new process begins
        return goOn(pid, number);
    }
    goOn(pid, 0);
}

bool CallByCall::isChosen(pid_t pid) {
    if (m_victims == Victims::pass && pid == m_reporter) return false;
    __ptrace_syscall_info call = {};
    if (ptrace(PTRACE_GET_SYSCALL_INFO, pid, reinterpret_cast<void*>(sizeof call), &call) <= 0 ||
        call.op != PTRACE_SYSCALL_INFO_ENTRY || !changesFiles(call))
        return false;
    return ++m_calls == m_before;
}

void CallByCall::killFrom(pid_t pid) {
    m_killed = true;
    if (m_victims == Victims::all) {
        kill(m_reporter, SIGKILL);
        for (const pid_t followed : m_followed) kill(followed, SIGKILL);
    } else {
        kill(pid, SIGKILL);
    }
}

}  // namespace crash_reporter_test

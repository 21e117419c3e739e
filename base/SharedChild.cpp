// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.

#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "base/BoundedChild.h"
#include "base/FatalSignals.h"

namespace hcrpt {
namespace {

// They mean something only while a shared child runs, which the calling thread waits for.
bool s_inChild = false;
volatile bool s_cameToItsEnd = false;

// A fault ends the child, whatever the host has installed; all that others may send to its process
// group stays out.
void takeDefaultActions() {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigset_t blocked;
    sigfillset(&blocked);
    const auto takeDefaultAction = [&](int number) {
        sigaction(number, &action, nullptr);
        sigdelset(&blocked, number);
    };
    for (const int number : kFaultSignals) takeDefaultAction(number);
    takeDefaultAction(SIGALRM);
    // A host's handler of it stands in for calls that its sandbox forbids.
    sigdelset(&blocked, SIGSYS);
    sigprocmask(SIG_SETMASK, &blocked, nullptr);
}

[[noreturn, gnu::noinline]] void childMain(void (*body)(void*) noexcept, void* argument) {
    s_inChild = true;
    takeDefaultActions();
    sharedChildProgress();
    body(argument);
    s_cameToItsEnd = true;
    _exit(0);
}

// While the child runs, the memory that it shares may not be dumped. A core of the child would be
// one of the host; and kernels before 5.16 end every process that shares the memory with a dumping
// one.
class DumpsOff {
  public:
    DumpsOff() : m_before(prctl(PR_GET_DUMPABLE)) {
        if (m_before == 1) prctl(PR_SET_DUMPABLE, 0);
    }
    ~DumpsOff() {
        if (m_before == 1) prctl(PR_SET_DUMPABLE, 1);
    }
    DumpsOff(const DumpsOff&) = delete;
    DumpsOff& operator=(const DumpsOff&) = delete;

  private:
    int m_before;
};

}  // namespace

void sharedChildProgress() {
    if (!s_inChild) return;
    itimerval timer = {};
    timer.it_value.tv_sec = kSharedChildStepSeconds;
    setitimer(ITIMER_REAL, &timer, nullptr);
}

bool runInSharedChild(void (*body)(void*) noexcept, void* argument) {
    s_cameToItsEnd = false;
    s_inChild = false;  // this may be the copy of a process that was about to walk
    const DumpsOff dumpsOff;
    // What vfork() does, without its SIGCHLD. No library function around the call: the child goes
    // on on this very stack, and would overwrite the address to which such a function returns here.
    long pid = SYS_clone;
    register long noTid asm("r10") = 0;
    register long noTls asm("r8") = 0;
    asm volatile("syscall"
                 : "+a"(pid)
                 : "D"(CLONE_VM | CLONE_VFORK), "S"(0), "d"(0), "r"(noTid), "r"(noTls)
                 : "rcx", "r11", "memory");
    if (pid == 0) childMain(body, argument);
    if (pid < 0) {
        body(argument);
        return true;
    }
    s_inChild = false;
    while (waitpid(static_cast<pid_t>(pid), nullptr, __WALL) < 0 && errno == EINTR) {
    }
    return s_cameToItsEnd;
}

}  // namespace hcrpt

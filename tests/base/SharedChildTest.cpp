#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>

#include "base/BoundedChild.h"
#include "support/ChildProcess.h"
#include "support/MissingSystemCall.h"

using hcrpt::kSharedChildStepSeconds;
using hcrpt::runInSharedChild;
using namespace test_support;

namespace {

int s_handled = 0;

void countSignal(int) {
    ++s_handled;
}

/// Counts a signal for the time of a scope.
class CountedSignal {
  public:
    explicit CountedSignal(int number) : m_number(number) {
        s_handled = 0;
        struct sigaction action = {};
        action.sa_handler = &countSignal;
        sigaction(number, &action, &m_before);
    }
    ~CountedSignal() { sigaction(m_number, &m_before, nullptr); }
    CountedSignal(const CountedSignal&) = delete;
    CountedSignal& operator=(const CountedSignal&) = delete;

  private:
    int m_number;
    struct sigaction m_before = {};
};

pid_t processId() {
    return static_cast<pid_t>(syscall(SYS_getpid));
}

void notePid(void* pid) noexcept {
    *static_cast<pid_t*>(pid) = processId();
}

void noteAndFault(void* number) noexcept {
    *static_cast<int*>(number) = 42;
    int volatile* volatile null = nullptr;
    *null = 1;
}

void hang(void*) noexcept {
    for (;;) pause();
}

void wait(int seconds) {
    timespec left = {seconds, 0};
    while (nanosleep(&left, &left) != 0) {
    }
}

TEST(SharedChildTest, TheBodyRunsInAChildThatSharesTheMemory) {
    pid_t pid = 0;
    EXPECT_TRUE(runInSharedChild(&notePid, &pid));
    EXPECT_NE(0, pid);
    EXPECT_NE(processId(), pid);
}

TEST(SharedChildTest, AFaultEndsTheChildAlone) {
    const CountedSignal handler(SIGSEGV);
    int number = 0;
    EXPECT_FALSE(runInSharedChild(&noteAndFault, &number));
    EXPECT_EQ(42, number) << "what was done before stays";
    EXPECT_EQ(0, s_handled) << "the host's handler is not for the child's faults";
}

TEST(SharedChildTest, AFaultEndsTheChildEvenWhereItsSignalIsBlockedOrIgnored) {
    ChildProcess host = ChildProcess::fork([] {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
        signal(SIGABRT, SIG_IGN);
        return runInSharedChild([](void*) noexcept { raise(SIGABRT); }, nullptr) ? 1 : 0;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(SharedChildTest, AfterAFaultTheNextBodyRuns) {
    int number = 0;
    EXPECT_FALSE(runInSharedChild(&noteAndFault, &number));
    pid_t pid = 0;
    EXPECT_TRUE(runInSharedChild(&notePid, &pid));
}

TEST(SharedChildTest, ABodyThatHangsIsEndedAfterOneStep) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(runInSharedChild(&hang, nullptr));
    const auto passed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(passed, std::chrono::milliseconds(1000 * kSharedChildStepSeconds - 100));
    EXPECT_LT(passed, std::chrono::seconds(10 * kSharedChildStepSeconds));
}

TEST(SharedChildTest, ABodyThatMakesProgressHasItsTime) {
    EXPECT_TRUE(runInSharedChild(
        [](void*) noexcept {
            for (int step = 0; step < 2; ++step) {
                wait(kSharedChildStepSeconds - 2);
                hcrpt::sharedChildProgress();
            }
        },
        nullptr));
}

TEST(SharedChildTest, ProgressOutsideAWalkSetsNoTimer) {
    pid_t pid = 0;
    runInSharedChild(&notePid, &pid);
    hcrpt::sharedChildProgress();
    itimerval timer = {};
    getitimer(ITIMER_REAL, &timer);
    EXPECT_EQ(0, timer.it_value.tv_sec);
    EXPECT_EQ(0, timer.it_value.tv_usec);
}

TEST(SharedChildTest, TheHostSeesNoChild) {
    const CountedSignal handler(SIGCHLD);
    pid_t pid = 0;
    runInSharedChild(&notePid, &pid);
    int number = 0;
    runInSharedChild(&noteAndFault, &number);
    EXPECT_EQ(0, s_handled);
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
    EXPECT_EQ(-1, kill(pid, 0)) << "it is still there";
}

TEST(SharedChildTest, AChildOfTheHostsIsLeftToTheHost) {
    const pid_t child = fork();
    if (child == 0) _exit(7);
    pid_t pid = 0;
    runInSharedChild(&notePid, &pid);
    int status = 0;
    EXPECT_EQ(child, waitpid(-1, &status, 0));
    EXPECT_EQ(7, WEXITSTATUS(status));
}

TEST(SharedChildTest, TheHostsSignalsTimerAndLimitsStay) {
    const CountedSignal handler(SIGSEGV);
    rlimit limitBefore = {};
    getrlimit(RLIMIT_CORE, &limitBefore);
    sigset_t maskBefore;
    sigprocmask(SIG_SETMASK, nullptr, &maskBefore);
    int number = 0;
    runInSharedChild(&noteAndFault, &number);

    rlimit limit = {};
    getrlimit(RLIMIT_CORE, &limit);
    EXPECT_EQ(limitBefore.rlim_cur, limit.rlim_cur);
    EXPECT_EQ(limitBefore.rlim_max, limit.rlim_max);
    sigset_t mask;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    for (int signal = 1; signal < 32; ++signal)
        EXPECT_EQ(sigismember(&maskBefore, signal), sigismember(&mask, signal)) << signal;
    raise(SIGSEGV);
    EXPECT_EQ(1, s_handled);
}

// --- Where no child can be made -----------------------------------------------------------------

void noteDumpable(void* dumpable) noexcept {
    *static_cast<int*>(dumpable) = prctl(PR_GET_DUMPABLE);
}

TEST(SharedChildTest, DumpsAreOffDuringAWalkOnly) {
    for (const int before : {1, 0}) {
        ASSERT_EQ(0, prctl(PR_SET_DUMPABLE, before));
        int during = -1;
        EXPECT_TRUE(runInSharedChild(&noteDumpable, &during));
        EXPECT_EQ(0, during);
        EXPECT_EQ(before, prctl(PR_GET_DUMPABLE));
    }
}

TEST(SharedChildTest, WithoutAChildTheBodyRunsInTheCallingProcess) {
    constexpr int kNoFilters = 77;
    ChildProcess host = ChildProcess::fork([] {
        if (!takeAwaySystemCall(SYS_clone)) return kNoFilters;
        pid_t pid = 0;
        if (!runInSharedChild(&notePid, &pid)) return 1;
        return pid == processId() ? 0 : 2;
    });
    const test_support::ExitState end = host.wait();
    if (end == exitedWith(kNoFilters)) GTEST_SKIP() << "the kernel takes no filter";
    EXPECT_EQ(exitedWith(0), end);
}

}  // namespace

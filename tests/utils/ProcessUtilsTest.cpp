#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/LinkSeams.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

using seams::ScopedSeam;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

/// Waits for the one child of this process. @return its exit code, or -1.
int exitCodeOfOnlyChild() {
    int status = 0;
    if (waitpid(-1, &status, 0) <= 0) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Launches in a process of its own, whose only child is then the launched one; a copy whose exec
/// failed ends with 42. @return 0 when the launch was said to work and the program ended with 0.
int launchAndWait(const std::string& program, std::vector<std::string> arguments) {
    const pid_t self = getpid();
    const bool started = HCrashRptUtils::forkNewProcess(program, arguments);
    if (getpid() != self) _exit(42);
    if (!started) return 100;
    return exitCodeOfOnlyChild();
}

}  // namespace

TEST(ProcessUtilsTest, ThisProcessAndTheFirstRun) {
    EXPECT_TRUE(HCrashRptUtils::isProcessRunning("1"));
    EXPECT_TRUE(HCrashRptUtils::isProcessRunning(std::to_string(getpid())));
}

TEST(ProcessUtilsTest, EndedProcessDoesNotRun) {
    auto child = ChildProcess::fork([] { return 0; });
    ASSERT_EQ(child.wait(), exitedWith(0));
    EXPECT_FALSE(HCrashRptUtils::isProcessRunning(std::to_string(child.pid())));
}

TEST(ProcessUtilsTest, ProcessIdIsNotValidated) {
    EXPECT_TRUE(HCrashRptUtils::isProcessRunning(""));  // /proc/ itself
    EXPECT_TRUE(HCrashRptUtils::isProcessRunning("self"));
    EXPECT_FALSE(HCrashRptUtils::isProcessRunning("no such process"));
    EXPECT_FALSE(HCrashRptUtils::isProcessRunning("1\n"));
}

TEST(ProcessUtilsTest, ThePlatformIsAskedForTheProcessesDirectory) {
    ScopedFakePlatform platform;
    std::vector<std::string> asked;
    platform.onExists = [&](const std::string& path) {
        asked.push_back(path);
        return false;
    };
    EXPECT_FALSE(HCrashRptUtils::isProcessRunning("1"));
    EXPECT_FALSE(HCrashRptUtils::isProcessRunning(""));
    EXPECT_EQ(asked, (std::vector<std::string>{"/proc/1", "/proc/"}));
}

TEST(ForkNewProcessTest, ArgumentsArriveAsTheyAre) {
    const TempDir dir;
    const ScopedEnvVar record("ARGUMENT_RECORD", dir / "record");
    auto child = ChildProcess::fork([] {
        return launchAndWait(ARGUMENT_RECORDER, {"own name", "", "a b", "$HOME", "*"});
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "record"), "[own name]\n[]\n[a b]\n[$HOME]\n[*]\n");
}

TEST(ForkNewProcessTest, NoArgumentsAtAllIsAccepted) {
    const TempDir dir;
    const ScopedEnvVar record("ARGUMENT_RECORD", dir / "record");
    auto child = ChildProcess::fork([] { return launchAndWait(ARGUMENT_RECORDER, {}); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    // Newer kernels put one empty text into an empty vector. The program's name is not there.
    const std::string arguments = test_support::readFile(dir / "record");
    EXPECT_TRUE(arguments.empty() || arguments == "[]\n") << arguments;
}

TEST(ForkNewProcessTest, ProgramWithoutSlashIsSearchedOnPath) {
    const TempDir dir;
    fs::create_symlink(ARGUMENT_RECORDER, dir / "recorder-on-path");
    const ScopedEnvVar record("ARGUMENT_RECORD", dir / "record");
    const ScopedEnvVar path("PATH", dir.path());
    auto child = ChildProcess::fork([] { return launchAndWait("recorder-on-path", {"x"}); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "record"), "[x]\n");
}

TEST(ForkNewProcessTest, FailedExecReturnsFalseInTheChildThatGoesOn) {
    const TempDir dir;
    auto child = ChildProcess::fork([&] {
        const pid_t self = getpid();
        std::vector<std::string> arguments = {"x"};
        const bool started = HCrashRptUtils::forkNewProcess(dir / "missing", arguments);
        if (getpid() != self) _exit(started ? 43 : 42);
        // The parent cannot see the failure: the fork worked.
        if (!started) return 2;
        return exitCodeOfOnlyChild() == 42 ? 0 : 3;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(ForkNewProcessTest, ParentDoesNotWait) {
    auto child = ChildProcess::fork([] {
        // The launched shell ends only when its input does, which is after the launch has returned.
        int ends[2];
        if (pipe(ends) != 0) return 2;
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        fcntl(ends[1], F_SETFD, FD_CLOEXEC);
        const pid_t self = getpid();
        std::vector<std::string> arguments = {"sh", "-c", "read line"};
        const bool started = HCrashRptUtils::forkNewProcess("/bin/sh", arguments);
        if (getpid() != self) _exit(42);
        if (!started) return 3;
        int status = 0;
        if (waitpid(-1, &status, WNOHANG) != 0) return 4;  // still running
        close(ends[1]);
        return exitCodeOfOnlyChild() == 1 ? 0 : 5;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(ForkNewProcessTest, FailedForkReturnsFalse) {
    const ScopedSeam seam(seams::onFork, [] {
        errno = EAGAIN;
        return pid_t(-1);
    });
    std::vector<std::string> arguments = {"x"};
    EXPECT_FALSE(HCrashRptUtils::forkNewProcess("/bin/true", arguments));
}

TEST(ForkNewProcessTest, VectorAndTextsLieInTheArenaForGood) {
    auto child = ChildProcess::fork([] {
        const auto before = reinterpret_cast<std::uintptr_t>(HCrptResourceMgr::allocateMem(1));
        if (launchAndWait("/bin/true", {"true", "four"}) != 0) return 2;
        const auto after = reinterpret_cast<std::uintptr_t>(HCrptResourceMgr::allocateMem(1));
        const std::size_t vectorSize = 3 * sizeof(char*);
        const std::size_t textSize = 5 + 5;
        return after - before - 1 == vectorSize + textSize ? 0 : 3;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(ForkNewProcessTest, ExhaustedArenaStartsNothing) {
    const std::string longText(1000, 'x');
    const struct {
        std::size_t left;  // bytes in the arena
        std::vector<std::string> arguments;
    } cases[] = {
        {0, {}},
        {0, {longText}},
        {3 * sizeof(char*) - 1, {"x", longText}},
        {2 * sizeof(char*) + longText.size(), {longText}},  // the vector, and all but the last zero
        {3 * sizeof(char*) + 2, {"x", longText}},           // the vector and the first text
    };
    for (const auto& each : cases) {
        auto child = ChildProcess::fork([&each] {
            test_support::leaveInArena(each.left);
            bool forked = false;
            const ScopedSeam seam(seams::onFork, [&] {
                forked = true;
                return pid_t(1);
            });
            std::vector<std::string> arguments = each.arguments;
            if (HCrashRptUtils::forkNewProcess("/bin/true", arguments)) return 2;
            return forked ? 3 : 0;
        });
        EXPECT_EQ(child.wait(), exitedWith(0))
            << each.left << " bytes, " << each.arguments.size() << " arguments";
    }
}

TEST(ForkNewProcessTest, ForkFlushesNothing) {
    auto child = ChildProcess::fork([] {
        std::fputs("once", stdout);
        return launchAndWait("/bin/true", {"true"});
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "once");
}

TEST(SleepTest, LessThanASecondReturnsAtOnce) {
    int calls = 0;
    const ScopedSeam seam(seams::onNanosleep, [&](const timespec*, timespec*) {
        ++calls;
        return 0;
    });
    HCrashRptUtils::sleep(0);
    HCrashRptUtils::sleep(-5);
    EXPECT_EQ(calls, 0);
}

TEST(SleepTest, SleepsWholeSecondsOnce) {
    std::vector<timespec> wanted;
    const ScopedSeam seam(seams::onNanosleep, [&](const timespec* time, timespec*) {
        wanted.push_back(*time);
        return 0;
    });
    HCrashRptUtils::sleep(5);
    ASSERT_EQ(wanted.size(), 1U);
    EXPECT_EQ(wanted[0].tv_sec, 5);
    EXPECT_EQ(wanted[0].tv_nsec, 0);
}

TEST(SleepTest, GoesOnWithTheRestAfterEachSignal) {
    std::vector<timespec> wanted;
    const ScopedSeam seam(seams::onNanosleep, [&](const timespec* time, timespec* left) {
        wanted.push_back(*time);
        if (wanted.size() == 3) return 0;
        *left = {5 - static_cast<std::time_t>(wanted.size()), 250};
        errno = EINTR;
        return -1;
    });
    HCrashRptUtils::sleep(5);
    ASSERT_EQ(wanted.size(), 3U);
    EXPECT_EQ(wanted[1].tv_sec, 4);
    EXPECT_EQ(wanted[1].tv_nsec, 250);
    EXPECT_EQ(wanted[2].tv_sec, 3);
}

TEST(SleepTest, AnyOtherFailureEndsIt) {
    int calls = 0;
    const ScopedSeam seam(seams::onNanosleep, [&](const timespec*, timespec*) {
        ++calls;
        errno = EINVAL;
        return -1;
    });
    HCrashRptUtils::sleep(5);
    EXPECT_EQ(calls, 1);
}

TEST(SleepTest, RealSignalsDoNotShortenIt) {
    static volatile sig_atomic_t signals = 0;
    signals = 0;
    struct sigaction action = {};
    struct sigaction former = {};
    action.sa_handler = [](int) { signals = signals + 1; };
    ASSERT_EQ(sigaction(SIGALRM, &action, &former), 0);
    const itimerval every300ms = {{0, 300000}, {0, 300000}};
    const itimerval never = {};
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(setitimer(ITIMER_REAL, &every300ms, nullptr), 0);
    HCrashRptUtils::sleep(2);
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &former, nullptr);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_GE(signals, 1);
}

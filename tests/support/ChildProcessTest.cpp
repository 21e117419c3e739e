#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "support/ChildProcess.h"
#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

TEST(ChildProcessTest, TellsExitCodesFromSignals) {
    EXPECT_EQ(ChildProcess::exec({"/bin/sh", "-c", "exit 3"}).wait(), exitedWith(3));
    EXPECT_EQ(ChildProcess::exec({"/bin/sh", "-c", "kill -9 $$"}).wait(), killedBy(SIGKILL));
    EXPECT_FALSE(exitedWith(9) == killedBy(9));
    EXPECT_EQ(ChildProcess::exec({"/no/such/program"}).wait(), exitedWith(127));
}

TEST(ChildProcessTest, CatchesOutputAndErrorApartFromEachOther) {
    auto child = ChildProcess::exec({"/bin/sh", "-c", "echo out; echo err >&2; (echo more)"});
    child.wait();
    EXPECT_EQ(child.standardOutput(), "out\nmore\n");
    EXPECT_EQ(child.standardError(), "err\n");
}

TEST(ChildProcessTest, OptionsChangeEnvironmentAndDirectory) {
    const TempDir dir;
    const ScopedEnvVar gone("HCRPT_TEST_GONE", "here");
    ChildProcess::Options options;
    options.workingDirectory = dir.path();
    options.set = {{"HCRPT_TEST_SET", "value"}};
    options.unset = {"HCRPT_TEST_GONE"};
    auto child = ChildProcess::exec(
        {"/bin/sh", "-c", "pwd -P; echo $HCRPT_TEST_SET ${HCRPT_TEST_GONE-unset}"}, options);
    child.wait();
    EXPECT_EQ(child.standardOutput(), dir.path() + "\nvalue unset\n");
    EXPECT_EQ(std::getenv("HCRPT_TEST_SET"), nullptr);
}

TEST(ChildProcessTest, AMissingWorkingDirectoryIsNotPassedOver) {
    ChildProcess::Options options;
    options.workingDirectory = "/no/such/directory";
    EXPECT_EQ(ChildProcess::exec({"/bin/true"}, options).wait(), exitedWith(126));
}

TEST(ChildProcessTest, StandardOutputCanBeClosed) {
    ChildProcess::Options options;
    options.closeStdout = true;
    auto child = ChildProcess::exec({"/bin/sh", "-c", "test ! -e /proc/self/fd/1"}, options);
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(ChildProcessTest, AForkedFunctionsResultIsTheExitCodeAndItsOutputIsFlushed) {
    std::printf("of the parent only\n");
    auto child = ChildProcess::fork([] {
        std::printf("from the child");
        return 5;
    });
    EXPECT_EQ(child.wait(), exitedWith(5));
    EXPECT_EQ(child.standardOutput(), "from the child");
}

TEST(ChildProcessTest, AChildThatRunsTooLongFailsTheTestAndIsKilled) {
    static ChildProcess* running = nullptr;
    auto child = ChildProcess::exec({"/bin/sleep", "600"});
    running = &child;
    const pid_t pid = child.pid();
    EXPECT_FALSE(child.hasEnded());
    EXPECT_TRUE(isRunning(pid));
    EXPECT_NONFATAL_FAILURE(running->wait(std::chrono::milliseconds(20)), "did not end in time");
    EXPECT_FALSE(isRunning(pid));
}

TEST(ChildProcessTest, AChildThatStillRunsAtTheEndOfTheScopeIsEnded) {
    pid_t pid = -1;
    {
        auto child = ChildProcess::exec({"/bin/sleep", "600"});
        pid = child.pid();
        ASSERT_TRUE(isRunning(pid));
    }
    EXPECT_FALSE(isRunning(pid));
    EXPECT_EQ(kill(pid, 0), -1);
}

TEST(ChildProcessTest, SignalsReachTheChild) {
    auto child = ChildProcess::exec({"/bin/sleep", "600"});
    child.signal(SIGTERM);
    EXPECT_EQ(child.wait(), killedBy(SIGTERM));
    EXPECT_TRUE(child.hasEnded());
    EXPECT_EQ(child.wait(), killedBy(SIGTERM));  // the state stays known
}

TEST(IsRunningTest, AZombieDoesNotRun) {
    const pid_t pid = fork();
    if (pid == 0) _exit(0);
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(eventually([&] { return !isRunning(pid); }));
    EXPECT_EQ(kill(pid, 0), 0);  // nobody has waited for it yet
    EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
    EXPECT_TRUE(isRunning(getpid()));
}

TEST(EventuallyTest, LooksAgainUntilTheDeadline) {
    int looks = 0;
    EXPECT_TRUE(eventually([&] { return ++looks == 3; }));
    EXPECT_EQ(looks, 3);
    EXPECT_FALSE(eventually([] { return false; }, std::chrono::milliseconds(20)));
}

}  // namespace

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "base/BoundedChild.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/TempDir.h"

namespace {

using hcrpt::ChildAnswer;
using hcrpt::ChildEnd;
using hcrpt::runInForkedChild;
using namespace std::chrono_literals;

using Answer = std::optional<std::string>;

ChildAnswer run(const std::function<Answer()>& task) {
    return runInForkedChild(task, {60s, {}});
}

TEST(ForkedChildTest, TellsWhatTheTaskReturned) {
    const ChildAnswer answer = run([] { return Answer("text"); });
    EXPECT_EQ(answer.end, ChildEnd::answered);
    EXPECT_EQ(answer.text, "text");
    EXPECT_EQ(run([] { return Answer(""); }).end, ChildEnd::answered);
    EXPECT_EQ(run([] { return Answer(); }).end, ChildEnd::failed);
}

TEST(ForkedChildTest, AnAnswerLargerThanAPipeArrivesWhole) {
    std::string large(1 << 20, 'x');
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i);
    EXPECT_TRUE(run([&] { return Answer(large); }).text == large);
}

TEST(ForkedChildTest, WithoutABoundTheTaskHasItsTime) {
    const ChildAnswer answer = runInForkedChild([] { return Answer("text"); }, {});
    EXPECT_EQ(answer.end, ChildEnd::answered);
    EXPECT_EQ(answer.text, "text");
}

TEST(ForkedChildTest, ATaskThatDiesLeavesNoCore) {
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_CORE, &before), 0);
    if (before.rlim_max == 0 && geteuid() != 0) GTEST_SKIP() << "no core is allowed here anyway";
    const rlimit allowed = {4096, 4096};
    test_support::ChildProcess child = test_support::ChildProcess::fork([&] {
        if (setrlimit(RLIMIT_CORE, &allowed) != 0) return 2;
        const ChildAnswer answer = run([] {
            rlimit limit = {};
            getrlimit(RLIMIT_CORE, &limit);
            return Answer(std::to_string(limit.rlim_cur) + " " + std::to_string(limit.rlim_max));
        });
        return answer.text == "0 0" ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), test_support::exitedWith(0));
}

TEST(ForkedChildTest, ATaskThatThrowsHasFailed) {
    EXPECT_EQ(run([]() -> Answer { throw std::bad_alloc(); }).end, ChildEnd::failed);
}

TEST(ForkedChildTest, ATaskThatDiesHasFailed) {
    EXPECT_EQ(run([]() -> Answer { _exit(0); }).end, ChildEnd::failed);
    EXPECT_EQ(run([] { return Answer(std::to_string(raise(SIGKILL))); }).end, ChildEnd::failed);
}

TEST(ForkedChildTest, NoHandlerOfThisProcessRunsInIt) {
    const test_support::TempDir directory;
    static std::string mark;
    mark = directory / "handled";
    const auto handler = [](int) {
        std::fclose(std::fopen(mark.c_str(), "w"));
        _exit(0);
    };
    for (const int number : {SIGSEGV, SIGABRT}) signal(number, handler);
    EXPECT_EQ(run([]() -> Answer { std::abort(); }).end, ChildEnd::failed);
    EXPECT_EQ(run([] { return Answer(std::to_string(raise(SIGSEGV))); }).end, ChildEnd::failed);
    for (const int number : {SIGSEGV, SIGABRT}) signal(number, SIG_DFL);
    EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST(ForkedChildTest, WithChildrenIgnoredItsResultIsStillKnown) {
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run([] { return Answer("text"); }).text, "text");
    EXPECT_EQ(run([] { return Answer(); }).end, ChildEnd::failed);
    signal(SIGCHLD, SIG_DFL);
}

TEST(ForkedChildTest, WhatTakesTooLongIsKilledWithAllThatItHasStarted) {
    const test_support::TempDir directory;
    const std::string pids = directory / "pids";
    const auto start = std::chrono::steady_clock::now();
    const auto hang = [&]() -> Answer {
        const pid_t grandchild = fork();
        if (grandchild == 0)
            for (;;) pause();
        std::ofstream(pids) << getpid() << " " << grandchild;
        for (;;) pause();
        return "";
    };
    const ChildAnswer answer = runInForkedChild(hang, {2s, {}});
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_EQ(answer.end, ChildEnd::timedOut);
    std::ifstream in(pids);
    pid_t child = 0;
    pid_t grandchild = 0;
    in >> child >> grandchild;
    ASSERT_GT(grandchild, 0);
    EXPECT_FALSE(test_support::isRunning(child));
    EXPECT_TRUE(test_support::eventually([=] { return !test_support::isRunning(grandchild); }));
}

TEST(ForkedChildTest, WhatTakesTooMuchProcessorTimeHasFailed) {
    const auto spin = []() -> Answer {
        for (volatile unsigned count = 0;; count = count + 1) {
        }
    };
    EXPECT_EQ(runInForkedChild(spin, {60s, 20ms}).end, ChildEnd::failed);
}

TEST(ForkedChildTest, TheAnswerIsKnownThoughWhatTheTaskHasStartedGoesOn) {
    const auto startAnother = []() -> Answer {
        const pid_t grandchild = fork();
        if (grandchild == 0)
            for (;;) pause();
        return std::to_string(grandchild);
    };
    const ChildAnswer answer = run(startAnother);
    EXPECT_EQ(answer.end, ChildEnd::answered);
    const pid_t grandchild = static_cast<pid_t>(std::stol(answer.text));
    ASSERT_GT(grandchild, 0);
    EXPECT_EQ(kill(grandchild, SIGKILL), 0);
}

TEST(ForkedChildTest, WhatItChangesInMemoryEndsWithIt) {
    static int number = 0;
    for (int round = 0; round < 2; ++round)
        EXPECT_EQ(run([] { return Answer(std::to_string(++number)); }).text, "1");
}

TEST(ForkedChildTest, NoFileAndNoChildIsLeft) {
    const auto lowestFree = [] {
        const int descriptor = dup(STDERR_FILENO);
        close(descriptor);
        return descriptor;
    };
    const int before = lowestFree();
    EXPECT_EQ(run([] { return Answer("text"); }).text, "text");
    EXPECT_EQ(run([] { return Answer(); }).end, ChildEnd::failed);
    EXPECT_EQ(lowestFree(), before);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ForkedChildTest, WithoutAChildNothingRuns) {
    const seams::ScopedSeam noFork(seams::onFork, [] { return -1; });
    bool hasRun = false;
    const auto task = [&] {
        hasRun = true;
        return Answer("text");
    };
    const ChildAnswer answer = run(task);
    EXPECT_EQ(answer.end, ChildEnd::notStarted);
    EXPECT_EQ(answer.text, "");
    EXPECT_FALSE(hasRun);
}

}  // namespace

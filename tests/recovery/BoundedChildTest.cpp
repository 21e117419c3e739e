#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include "hcrpt/HCrashCapture.h"
#include "recovery/BoundedChild.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace {

using hcrpt::ChildResult;
using hcrpt::runInChild;
using namespace std::chrono_literals;

TEST(BoundedChildTest, TellsWhatTheTaskReturned) {
    EXPECT_EQ(runInChild([] { return true; }, 60s), ChildResult::succeeded);
    EXPECT_EQ(runInChild([] { return false; }, 60s), ChildResult::failed);
}

TEST(BoundedChildTest, ATaskThatThrowsHasFailed) {
    EXPECT_EQ(runInChild([]() -> bool { throw std::bad_alloc(); }, 60s), ChildResult::failed);
}

TEST(BoundedChildTest, ATaskThatDiesHasFailed) {
    EXPECT_EQ(runInChild([]() -> bool { _exit(0); }, 60s), ChildResult::failed);
    EXPECT_EQ(runInChild([] { return raise(SIGKILL) == 0; }, 60s), ChildResult::failed);
}

TEST(BoundedChildTest, NoHandlerOfThisProcessRunsInIt) {
    const test_support::TempDir directory;
    static std::string mark;
    mark = directory / "handled";
    const auto handler = [](int) {
        std::fclose(std::fopen(mark.c_str(), "w"));
        _exit(0);
    };
    for (const int number : {SIGSEGV, SIGABRT}) signal(number, handler);
    EXPECT_EQ(runInChild([]() -> bool { std::abort(); }, 60s), ChildResult::failed);
    EXPECT_EQ(runInChild([] { return raise(SIGSEGV) == 0; }, 60s), ChildResult::failed);
    for (const int number : {SIGSEGV, SIGABRT}) signal(number, SIG_DFL);
    EXPECT_FALSE(std::filesystem::exists(mark));
}

TEST(BoundedChildTest, WithChildrenIgnoredItsResultIsStillKnown) {
    signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(runInChild([] { return true; }, 60s), ChildResult::succeeded);
    EXPECT_EQ(runInChild([] { return false; }, 60s), ChildResult::failed);
    signal(SIGCHLD, SIG_DFL);
}

TEST(BoundedChildTest, WhatTakesTooLongIsKilledWithAllThatItHasStarted) {
    const test_support::TempDir directory;
    const std::string pids = directory / "pids";
    const auto start = std::chrono::steady_clock::now();
    const ChildResult result = runInChild(
        [&] {
            const pid_t grandchild = fork();
            if (grandchild == 0)
                for (;;) pause();
            test_support::writeFile(pids,
                                    std::to_string(getpid()) + " " + std::to_string(grandchild));
            for (;;) pause();
            return true;
        },
        2s);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_EQ(result, ChildResult::timedOut);
    std::ifstream in(pids);
    pid_t child = 0;
    pid_t grandchild = 0;
    in >> child >> grandchild;
    ASSERT_GT(grandchild, 0);
    EXPECT_FALSE(test_support::isRunning(child));
    EXPECT_TRUE(test_support::eventually([=] { return !test_support::isRunning(grandchild); }));
}

TEST(BoundedChildTest, ItsUseOfTheArenaEndsWithIt) {
    HCrptResourceMgr::get();
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(runInChild([] { return HCrptResourceMgr::allocateMem(50000) != nullptr; }, 60s),
                  ChildResult::succeeded);
}

TEST(BoundedChildTest, WhatStandsInTheStreamsBufferIsWrittenOnce) {
    const test_support::StdoutCapture output;
    std::printf("before ");
    runInChild(
        [] {
            std::printf("within ");
            std::fflush(stdout);
            return true;
        },
        60s);
    EXPECT_EQ(output.text(), "before within ");
}

}  // namespace

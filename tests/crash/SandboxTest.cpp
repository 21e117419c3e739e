// Hosts in a sandbox (seccomp) that forbids system calls of the crash handler.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"
#include "support/MissingSystemCall.h"

using namespace crash_test;

namespace {

TEST(SandboxTest, OneThatKillsLeavesTheInterruptedInstruction) {
    CrashScene scene;
    const Outcome outcome = scene.run("sandbox-kill");
    EXPECT_EQ(test_support::killedBy(SIGSYS), outcome.end);
    const std::string start = headerOf(SIGSEGV) + kNotice;
    ASSERT_EQ(start, outcome.rawTrace.substr(0, start.size())) << outcome.rawTrace;
    const std::string frames = outcome.rawTrace.substr(start.size());
    EXPECT_EQ(frames.find('\n'), frames.size() - 1) << "one line: " << frames;
    EXPECT_NE(std::string::npos, frames.find("/libzeb_failing.so(+0x")) << frames;
    EXPECT_NE(std::string::npos, frames.find(")[0x")) << frames;
}

TEST(SandboxTest, AForbiddenCallThatFailsCostsNoTrace) {
    CrashScene scene;
    const Outcome outcome = scene.run("sandbox-error");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_EQ(std::string::npos, outcome.rawTrace.find(kNotice));
}

TEST(SandboxTest, MemoryThatNobodyMayCopyCostsNoFrames) {
    CrashScene scene;
    scene.preparation = [] {
        if (!test_support::takeAwaySystemCall(SYS_process_vm_readv)) _exit(126);
    };
    const Outcome outcome = scene.run("null-write");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("(main+0x")) << outcome.rawTrace;
}

TEST(SandboxTest, ASignalHandlerThatStandsInForForbiddenCallsIsCalled) {
    CrashScene scene;
    const Outcome outcome = scene.run("sandbox-trap");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_EQ(std::string::npos, outcome.rawTrace.find(kNotice));
}

}  // namespace

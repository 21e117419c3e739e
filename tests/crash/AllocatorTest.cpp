// From the signal until its trace lies in the crash store a crashing process asks for no memory.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using crash_test::CrashScene;
using crash_test::expectTraces;
using crash_test::Outcome;

namespace {

class AllocatorTest : public testing::Test {
  protected:
    void expectNoCalls(const std::string& scenario, int signal) {
        const Outcome outcome = scene.run(scenario + "@watched");
        expectTraces(outcome, signal);
        EXPECT_EQ("", outcome.allocatorCalls);
    }
    CrashScene scene;
};

TEST_F(AllocatorTest, TheWatchSeesACall) {
    const Outcome outcome = scene.run("allocate@watched");
    EXPECT_EQ("malloc\nfree\n", outcome.allocatorCalls);
}

TEST_F(AllocatorTest, ANullWriteAsksForNoMemoryBeforeItsTraceIsSafe) {
    expectNoCalls("null-write", SIGSEGV);
}

TEST_F(AllocatorTest, AStackOverflowAsksForNoMemoryBeforeItsTraceIsSafe) {
    expectNoCalls("stack-overflow", SIGSEGV);
}

TEST_F(AllocatorTest, AnAbortAsksForNoMemoryBeforeItsTraceIsSafe) {
    expectNoCalls("abort", SIGABRT);
}

TEST_F(AllocatorTest, AMissingCrashStoreIsMadeWithoutMemory) {
    scene.reporter = CrashScene::Reporter::comesLater;
    expectNoCalls("null-write", SIGSEGV);
}

}  // namespace

// The ways in which a host fails, each with the whole record.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using crash_test::CrashScene;
using crash_test::expectNamed;
using crash_test::expectRecoveredReport;
using crash_test::expectTraces;
using crash_test::expectWholeRecord;
using crash_test::Outcome;
using test_support::ChildProcess;

namespace {

struct Failure {
    const char* name;
    const char* scenario;
    int signal;
    const char* function;  // to be named; empty: none can be
};

void PrintTo(const Failure& failure, std::ostream* out) {
    *out << failure.scenario;
}

class FailureTest : public testing::TestWithParam<Failure> {};

TEST_P(FailureTest, LeavesTheWholeRecord) {
    CrashScene scene;
    const Outcome outcome = scene.run(GetParam().scenario);
    expectWholeRecord(outcome, GetParam().signal);
    if (*GetParam().function != '\0') expectNamed(outcome, GetParam().function);
}

INSTANTIATE_TEST_SUITE_P(
    Table, FailureTest,
    testing::Values(
        Failure{"NullWrite", "null-write", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"NullWriteOnWorker", "null-write@worker", SIGSEGV, "zeb::failing::nullWrite()"},
        // Its frames are all of a function without a name, beneath the depth of a trace.
        Failure{"StackOverflow", "stack-overflow", SIGSEGV, ""},
        Failure{"StackOverflowOnEnrolledWorker", "stack-overflow@enrolled", SIGSEGV, ""},
        Failure{"Abort", "abort", SIGABRT, "zeb::failing::callAbort()"},
        Failure{"UncaughtException", "uncaught-exception", SIGABRT,
                "zeb::failing::throwUncaught()"},
        Failure{"UncaughtExceptionOnWorker", "uncaught-exception@worker", SIGABRT,
                "zeb::failing::throwUncaught()"},
        Failure{"DivisionByZero", "division-by-zero", SIGFPE, "zeb::failing::divideByZero()"},
        Failure{"IllegalInstruction", "illegal-instruction", SIGILL,
                "zeb::failing::illegalInstruction()"},
        Failure{"BusError", "bus-error", SIGBUS, "zeb::failing::busError()"},
        Failure{"DoubleFree", "double-free", SIGABRT, "zeb::failing::doubleFree()"},
        Failure{"InConstructorDuringDlopen", "dlopen-constructor", SIGSEGV,
                "zeb::failing::nullWrite()"},
        Failure{"SmashedReturnAddress", "smashed-return-address", SIGSEGV, ""},
        Failure{"SmashedFrames", "smashed-frames", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"CallOfNull", "null-call", SIGSEGV, "zeb::failing::callNull()"},
        Failure{"JumpNowhere", "jump-nowhere", SIGSEGV, "zeb::failing::jumpNowhere()"},
        Failure{"Frames150", "deep-150", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"Frames1500", "deep-1500", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"LongName", "long-name", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"Threads200", "threads-200", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"StdoutLocked", "stdout-locked", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"StdoutFullPipe", "full-pipe", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"SigchldIgnored", "ignored-sigchld", SIGSEGV, "zeb::failing::nullWrite()"},
        Failure{"TwoThreadsAtOnceAmongAHundred", "two-threads", SIGSEGV,
                "zeb::failing::nullWrite()"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FailureTest, AFullStackOverflowIsInTheFailingLibrary) {
    CrashScene scene;
    const Outcome outcome = scene.run("stack-overflow");
    expectWholeRecord(outcome, SIGSEGV);
    EXPECT_NE(std::string::npos, outcome.report.find("libzeb_failing.so(+0x"));
    EXPECT_NE(std::string::npos, outcome.report.find("\"failing\"")) << "the failing library";
}

// The walk goes on at the caller, and the trace says where the call went.
TEST(FailureTest, ACallThatLeadsNowhereIsShownWithItsTargetAndItsCallers) {
    for (const auto& [scenario, frames] :
         {std::pair("null-call", "[0x0]\nlibzeb_failing.so(zeb::failing::callNull()+"),
          std::pair("jump-nowhere",
                    "[0x12345678000]\nlibzeb_failing.so(zeb::failing::jumpNowhere()+")}) {
        CrashScene scene;
        const Outcome outcome = scene.run(scenario);
        expectWholeRecord(outcome, SIGSEGV);
        EXPECT_NE(std::string::npos, outcome.log.find(frames)) << outcome.log;
        EXPECT_NE(std::string::npos, outcome.log.find("(main+")) << outcome.log;
        EXPECT_EQ(std::string::npos, outcome.log.find("partial")) << outcome.log;
    }
}

TEST(FailureTest, AStackOverflowOnAPlainWorkerKillsWithoutAReport) {
    CrashScene scene;
    const Outcome outcome = scene.run("stack-overflow@worker");
    EXPECT_EQ(test_support::killedBy(SIGSEGV), outcome.end);
    EXPECT_EQ("", outcome.rawTrace);
    EXPECT_EQ("", outcome.report);
}

TEST(FailureTest, AStackOverflowOnAWorkerUnderTheThreadHookLeavesTheWholeRecord) {
    CrashScene scene;
    scene.preparation = [] { setenv("LD_PRELOAD", THREAD_HOOK, 1); };
    expectWholeRecord(scene.run("stack-overflow@worker"), SIGSEGV);
}

TEST(FailureTest, SignalsFromOutsideLeaveTheWholeRecord) {
    for (const int signal : {SIGQUIT, SIGSEGV}) {
        CrashScene scene;
        scene.atFailure = [signal](ChildProcess& host) { host.signal(signal); };
        const Outcome outcome = scene.run("wait-for-signal");
        expectWholeRecord(outcome, signal);
        EXPECT_NE(std::string::npos, outcome.log.find("(main+"));
    }
}

TEST(FailureTest, ATraceOfALongNameHoldsItWhole) {
    CrashScene scene;
    const Outcome outcome = scene.run("long-name");
    std::string name = "a_name_that_goes_on";
    for (int i = 0; i < 100; ++i) name += "_and_on_and_on";
    EXPECT_NE(std::string::npos, outcome.rawTrace.find(name));
    EXPECT_NE(std::string::npos, outcome.log.find(name));
    EXPECT_NE(std::string::npos, outcome.report.find(name));
}

TEST(FailureTest, OfTwoFailingThreadsOneWritesAndNothingIsMixed) {
    CrashScene scene;
    const Outcome outcome = scene.run("two-threads");
    expectWholeRecord(outcome, SIGSEGV);
    std::size_t failures = 0;
    for (auto at = outcome.rawTrace.find("nullWrite"); at != std::string::npos;
         at = outcome.rawTrace.find("nullWrite", at + 1))
        ++failures;
    EXPECT_EQ(1U, failures) << outcome.rawTrace;
    EXPECT_EQ(outcome.output.find("Abnormal"), outcome.output.rfind("Abnormal")) << outcome.output;
}

TEST(FailureTest, AFaultBeforeTheTraceEndsWithTheFirstSignalsStatus) {
    CrashScene scene;
    const Outcome outcome = scene.run("fault-at-first-step");
    EXPECT_EQ(test_support::exitedWith(128 + SIGABRT), outcome.end);
    const std::string start = crash_test::headerOf(SIGABRT) + crash_test::kNotice;
    EXPECT_EQ(start, outcome.rawTrace.substr(0, start.size()));
    // The interrupted instruction alone.
    EXPECT_EQ(outcome.rawTrace.find("\n", start.size()), outcome.rawTrace.size() - 1)
        << outcome.rawTrace;
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("libc.so.6(+0x", start.size()))
        << outcome.rawTrace;
}

struct LostReport {
    const char* name;
    const char* scenario;
    int signal;
    const char* function;
    bool heapIsLocked = false;  // for good, by the crashed thread: its message names the raw trace
};

void PrintTo(const LostReport& failure, std::ostream* out) {
    *out << failure.scenario;
}

class LostReportTest : public testing::TestWithParam<LostReport> {};

TEST_P(LostReportTest, IsWrittenByTheCrashReporter) {
    CrashScene scene;
    scene.awaitReport = true;
    const Outcome outcome = scene.run(GetParam().scenario);
    expectTraces(outcome, GetParam().signal);
    if (GetParam().heapIsLocked) {
        EXPECT_NE(std::string::npos,
                  outcome.output.find("Please check this file for stacktrace: " + scene.work));
    }
    expectRecoveredReport(outcome, GetParam().signal, GetParam().function, GetParam().scenario);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LostReportTest,
    testing::Values(
        // A fault within the report ends the process at once, with the first signal's status.
        LostReport{"AFaultWithinTheReport", "fault-in-routine", SIGABRT,
                   "zeb::failing::callAbort()"},
        // Without other threads malloc() takes no lock: it fails once more when the report is made.
        LostReport{"AFaultInMalloc", "fault-in-malloc", SIGSEGV, "zeb::failing::faultInMalloc()"},
        LostReport{"ACorruptHeap", "corrupt-heap", SIGABRT, "zeb::failing::corruptTop()"},
        LostReport{"AFaultInMallocWithItsLockHeld", "fault-in-malloc-locked", SIGSEGV,
                   "zeb::failing::faultInMalloc()", true},
        LostReport{"ACorruptHeapWithItsLockHeld", "corrupt-heap-locked", SIGABRT,
                   "zeb::failing::corruptTop()", true}),
    [](const auto& row) { return std::string(row.param.name); });

// The parent's id is in the names, since the paths were made when it started.
TEST(FailureTest, AForkedChildLeavesTheTracesUnderItsParentsId) {
    CrashScene scene;
    const Outcome outcome = scene.run("forked-child");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
}

}  // namespace

// Deaths in which the threads, timers, signals and children of the host take part.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using crash_test::CrashScene;
using crash_test::expectNamed;
using crash_test::expectWholeRecord;
using crash_test::Outcome;
using test_support::ChildProcess;

namespace {

/// A scenario whose failing function the record must name.
struct Death {
    const char* name;
    const char* scenario;
    int signal;
};

void PrintTo(const Death& death, std::ostream* out) {
    *out << death.scenario;
}

std::string nameOf(const testing::TestParamInfo<Death>& row) {
    return row.param.name;
}

class ThreadDeathTest : public testing::TestWithParam<Death> {};

TEST_P(ThreadDeathTest, LeavesTheWholeRecord) {
    CrashScene scene;
    const Outcome outcome = scene.run(GetParam().scenario);
    expectWholeRecord(outcome, GetParam().signal);
    expectNamed(outcome, GetParam().signal == SIGABRT ? "zeb::failing::callAbort()"
                                                      : "zeb::failing::nullWrite()");
}

INSTANTIATE_TEST_SUITE_P(
    Table, ThreadDeathTest,
    testing::Values(Death{"WithACancellationPending", "cancelled", SIGSEGV},
                    Death{"AmongIntervalTimersOf1ms", "interval-timers-1ms", SIGSEGV},
                    Death{"AmongIntervalTimersOf50ms", "interval-timers-50ms", SIGSEGV},
                    Death{"AmongPosixTimersOfManySignals", "posix-timers", SIGSEGV},
                    Death{"InAVforkChild", "vfork-child", SIGSEGV},
                    Death{"UnderAThreadThatSendsAborts", "impatient-thread", SIGSEGV},
                    Death{"BesideExit", "exit-beside", SIGSEGV},
                    Death{"BesideAReturnFromMain", "return-beside", SIGSEGV},
                    Death{"BesideQuickExit", "quick-exit-beside", SIGSEGV},
                    Death{"BesideThreeThreadsThatExit", "two-exits-beside", SIGSEGV},
                    Death{"AmongTheExitHandlers", "fail-while-exiting", SIGSEGV},
                    Death{"AfterTheHostUsedItsOwnLargerAlternateStack", "large-alternate-stack",
                          SIGSEGV}),
    nameOf);

// --- Little stack
// ---------------------------------------------------------------------------------

/// Bytes of stack that are left when the process fails.
class LittleStackTest : public testing::TestWithParam<int> {};

// Where the kernel cannot put the abort's signal on the stack, SIGSEGV takes its place, on the
// alternate stack. Number, status and trace are of the signal that was handled.
TEST_P(LittleStackTest, AnAbortLeavesTheWholeRecord) {
    CrashScene scene;
    const Outcome outcome =
        scene.run("abort-with-stack-" + std::to_string(GetParam()) + "@enrolled");
    const bool aborted = outcome.end == test_support::exitedWith(128 + SIGABRT);
    expectWholeRecord(outcome, aborted ? SIGABRT : SIGSEGV);
    expectNamed(outcome, "zeb::failing::callAbort()");
}

TEST_P(LittleStackTest, ANullWriteOnAThreadWithAnAlternateStackLeavesTheWholeRecord) {
    CrashScene scene;
    const Outcome outcome =
        scene.run("null-write-with-stack-" + std::to_string(GetParam()) + "@enrolled");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
}

INSTANTIATE_TEST_SUITE_P(Bytes, LittleStackTest,
                         testing::Values(1200, 2400, 3200, 3600, 4000, 4200, 4400, 4800, 5200, 5600,
                                         6000, 8000));

// No alternate stack is needed where the kernel's part fits.
TEST(ThreadDeathTest, ANullWriteWithLittleStackOnAPlainWorkerLeavesTheWholeRecord) {
    CrashScene scene;
    const Outcome outcome = scene.run("null-write-with-stack-6000@worker");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
}

// --- Children that share the memory
// -----------------------------------------------------------------

// Each crash leaves a report and takes the trace's place; the last one is the parent's own.
TEST(ThreadDeathTest, VforkChildrenThatCrashDoNotDisturbACrashOfTheirParent) {
    for (const char* scenario : {"after-vfork-child", "forked-child-after-vfork-child"}) {
        CrashScene scene;
        const Outcome outcome = scene.run(scenario);
        EXPECT_EQ(test_support::exitedWith(128 + SIGABRT), outcome.end);
        EXPECT_EQ(0U, outcome.rawTrace.find(crash_test::headerOf(SIGABRT))) << outcome.rawTrace;
        EXPECT_NE(std::string::npos, outcome.rawTrace.find("callAbort")) << outcome.rawTrace;
        EXPECT_EQ(outcome.rawTrace, outcome.copy);
        EXPECT_NE("", outcome.report);
    }
}

// --- Closed descriptors
// -----------------------------------------------------------------------------

class ClosedDescriptorsTest : public testing::TestWithParam<std::vector<int>> {};

TEST_P(ClosedDescriptorsTest, LeaveTheWholeRecord) {
    CrashScene scene;
    scene.preparation = [] {
        for (const int fd : GetParam()) close(fd);
    };
    const Outcome outcome = scene.run("null-write");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_EQ(std::string::npos, outcome.rawTrace.find("Abnormal")) << "a message in the trace";
    EXPECT_NE(std::string::npos, outcome.report.find("\"memInfo\"")) << "behind the last tool";
}

INSTANTIATE_TEST_SUITE_P(
    Table, ClosedDescriptorsTest,
    testing::Values(std::vector<int>{STDIN_FILENO}, std::vector<int>{STDIN_FILENO, STDERR_FILENO},
                    std::vector<int>{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}));

// --- Signals of other processes
// -------------------------------------------------------------------

// An impatient watchdog process: its signals are no faults of the crash handler.
TEST(ThreadDeathTest, FatalSignalsFromOutsideDuringTheCrashHandlerAreIgnored) {
    CrashScene scene;
    scene.atFailure = [&scene](ChildProcess& host) {
        host.signal(SIGSEGV);
        const std::string trace =
            scene.work + "/hs_mangled_err_pid" + std::to_string(host.pid()) + ".log";
        EXPECT_TRUE(test_support::eventually([&] { return fs::exists(trace); }));
        for (int i = 0; i < 100; ++i) {
            for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGQUIT})
                host.signal(number);
            std::this_thread::sleep_for(1ms);
        }
    };
    const Outcome outcome = scene.run("wait-for-signal");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::waitForSignal()");
}

}  // namespace

// Machines and sessions in which a host fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using crash_test::CrashScene;
using crash_test::expectNamed;
using crash_test::expectTraces;
using crash_test::expectWholeRecord;
using crash_test::Outcome;
using namespace test_support;

namespace {

// A view of the file system of the crashing process's own, in which the shell is no program.
bool hideShell() {
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("/dev/null", "/bin/sh", nullptr, MS_BIND, nullptr) == 0;
}

struct Harmless {
    const char* name;
    const char* scenario = "null-write";
    bool (*preparation)() = nullptr;  // needs a right where it fails
    CrashScene::Reporter reporter = CrashScene::Reporter::serves;
    bool hasMemory = true;  // the report's last item is there
};

void PrintTo(const Harmless& surroundings, std::ostream* out) {
    *out << surroundings.name;
}

class HarmlessSurroundingsTest : public testing::TestWithParam<Harmless> {};

TEST_P(HarmlessSurroundingsTest, CostNothingOfTheRecord) {
    CrashScene scene;
    scene.reporter = GetParam().reporter;
    if (const auto prepare = GetParam().preparation; prepare != nullptr) {
        ChildProcess trial = ChildProcess::fork([prepare] { return prepare() ? 0 : 1; });
        if (!(trial.wait() == exitedWith(0))) GTEST_SKIP() << "needs the right to mount";
        scene.preparation = [prepare] {
            if (!prepare()) _exit(126);
        };
    }
    ASSERT_FALSE(fs::exists(scene.sessionDirectory));
    const Outcome outcome = scene.run(GetParam().scenario);
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    if (GetParam().hasMemory) {
        EXPECT_NE(std::string::npos, outcome.report.find("\"memInfo\"")) << "behind the last tool";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, HarmlessSurroundingsTest,
    testing::Values(Harmless{"AMissingCrashStoreIsMade", "null-write", nullptr,
                             CrashScene::Reporter::comesLater},
                    Harmless{"WithoutToolsTheReportLacksTheirFactsOnly", "null-write",
                             [] { return setenv("PATH", "/nonexistent", 1) == 0; }},
                    Harmless{"WithoutAShellTheReportLacksItsFactsOnly", "null-write", hideShell,
                             CrashScene::Reporter::serves, false},
                    Harmless{"AReachedLimitOfDescriptorsIsLifted", "no-descriptors"},
                    Harmless{"AReachedLimitOfAddressSpaceIsLifted", "no-address-space"},
                    Harmless{"AReachedLimitOfDataIsLifted", "no-data"},
                    Harmless{"AReachedLimitOfFileSizeIsLifted", "no-file-size"}),
    [](const auto& row) { return std::string(row.param.name); });

class SurroundingsTest : public testing::Test {
  protected:
    CrashScene scene;
};

TEST_F(SurroundingsTest, ClosedStdoutCostsTheMessagesOnly) {
    scene.preparation = [] { close(STDOUT_FILENO); };
    const Outcome outcome = scene.run("null-write");
    expectWholeRecord(outcome, SIGSEGV);
    EXPECT_EQ(std::string::npos, outcome.rawTrace.find("Abnormal")) << "a message in the trace";
}

TEST_F(SurroundingsTest, ARemovedWorkingDirectoryCostsTheTrace) {
    const std::string own = scene.directory / "own";
    fs::create_directory(own);
    // The host starts there; the test removes it before the failure.
    scene.preparation = [own] {
        if (chdir(own.c_str()) != 0) _exit(126);
        // The mark of the failure is looked for in the usual place.
        if (symlink("../work/failing", "failing") != 0) _exit(126);
    };
    scene.atFailure = [own](ChildProcess& host) {
        fs::remove_all(own);
        host.signal(SIGSEGV);
    };
    const Outcome outcome = scene.run("wait-for-signal");
    EXPECT_EQ(exitedWith(139), outcome.end);
    EXPECT_NE(std::string::npos, outcome.output.find("Unable to write a stacktrace file"));
    EXPECT_EQ("", outcome.copy);
    EXPECT_NE("", outcome.report);
}

TEST_F(SurroundingsTest, AnImpossibleCrashStoreCostsAllButTheRawTrace) {
    scene.reporter = CrashScene::Reporter::none;
    test_support::writeFile(scene.work + "/.crashReporter", "in its place");
    const Outcome outcome = scene.run("null-write");
    EXPECT_EQ(exitedWith(139), outcome.end);
    EXPECT_EQ(0U, outcome.rawTrace.find(crash_test::headerOf(SIGSEGV)));
    EXPECT_NE(std::string::npos, outcome.output.find("Could not create crash store at: "));
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("nullWrite"));
}

TEST_F(SurroundingsTest, AStoppedCrashReporterIsWaitedFor) {
    scene.atFailure = [this](ChildProcess& host) {
        scene.signalReporter(SIGSTOP);
        host.signal(SIGSEGV);
        std::this_thread::sleep_for(3s);
        EXPECT_FALSE(host.hasEnded());
        scene.signalReporter(SIGCONT);
    };
    expectWholeRecord(scene.run("wait-for-signal"), SIGSEGV);
}

// The hard limit leaves nothing to be lifted, and no file can be opened.
TEST_F(SurroundingsTest, WithoutAnyDescriptorOnlyTheMessageAndTheStatusAreLeft) {
    const Outcome outcome = scene.run("no-descriptors-hard");
    EXPECT_EQ(exitedWith(139), outcome.end);
    EXPECT_NE(std::string::npos, outcome.output.find("Unable to write a stacktrace file"));
    EXPECT_EQ("", outcome.rawTrace);
    EXPECT_EQ("", outcome.report);
}

TEST_F(SurroundingsTest, WithoutAnyAddressSpaceTheTracesAreThere) {
    const Outcome outcome = scene.run("no-address-space-hard");
    expectTraces(outcome, SIGSEGV);
    EXPECT_NE(std::string::npos, outcome.log.find("zeb::failing::nullWrite()"));
}

TEST_F(SurroundingsTest, ALockedLoaderCostsTheNamesOfFunctions) {
    const Outcome outcome = scene.run("loader-locked");
    expectWholeRecord(outcome, SIGSEGV);
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("libzeb_failing.so(+0x"));
}

}  // namespace

// Which deaths the crash reporter reports in place of the dead, and which it does not.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

namespace fs = std::filesystem;
using crash_test::CrashScene;
using crash_test::expectRecoveredReport;
using crash_test::expectWholeRecord;
using crash_test::Outcome;
using namespace test_support;

namespace {

/// A process id that no process can have: beyond the largest that the kernel hands out.
constexpr pid_t kDeadPid = 4194305;

/// The mark of the failure comes a moment before the host waits.
bool isAsleep(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("State:", 0) == 0) return line.find('S', 6) != std::string::npos;
    return false;
}

class RecoveredReportTest : public testing::Test {
  protected:
    /// Lets a host crash and kills it while it waits for its log.
    Outcome runKilledWhileWaiting() {
        scene.atFailure = [this](ChildProcess& host) {
            EXPECT_TRUE(eventually([&] { return isAsleep(host.pid()); }));
            scene.signalReporter(SIGSTOP);
            host.signal(SIGABRT);
            const std::string copy = scene.tracePath(host.pid());
            EXPECT_TRUE(eventually([&] { return fs::exists(copy); }));
            host.signal(SIGKILL);
            host.wait();
            scene.signalReporter(SIGCONT);
        };
        scene.awaitReport = true;
        return scene.run("wait-for-signal");
    }
    CrashScene scene;
};

TEST_F(RecoveredReportTest, AHostThatIsKilledWhileItWaitsForItsLogIsReported) {
    const Outcome outcome = runKilledWhileWaiting();
    EXPECT_EQ(killedBy(SIGKILL), outcome.end);
    expectRecoveredReport(outcome, SIGABRT, "zeb::failing::waitForSignal()", "wait-for-signal");
}

TEST_F(RecoveredReportTest, ACrashReporterThatIsStartedAgainWritesNoSecondReport) {
    runKilledWhileWaiting();
    scene.awaitPass();
    scene.restartReporter();
    scene.awaitPass();
    EXPECT_EQ(1U, scene.reportNames().size()) << testing::PrintToString(scene.reportNames());
}

TEST_F(RecoveredReportTest, AHostThatHasWrittenItsReportGetsNoSecondOne) {
    expectWholeRecord(scene.run("null-write"), SIGSEGV);
    scene.awaitPass();
    scene.restartReporter();
    scene.awaitPass();
    EXPECT_EQ(1U, scene.reportNames().size()) << testing::PrintToString(scene.reportNames());
}

TEST_F(RecoveredReportTest, AForkedChildThatHasWrittenItsReportGetsNoSecondOneForItsParent) {
    expectWholeRecord(scene.run("forked-child"), SIGSEGV);
    scene.awaitPass();
    EXPECT_EQ(1U, scene.reportNames().size()) << testing::PrintToString(scene.reportNames());
}

TEST_F(RecoveredReportTest, TracesOfProcessesThatAreNotRegisteredHereGetNone) {
    expectWholeRecord(scene.run("null-write"), SIGSEGV);
    std::ofstream(scene.store + "/processRegFile.txt", std::ios::app)
        << "otherhost:" << kDeadPid << '\n';
    for (const pid_t pid : {kDeadPid, kDeadPid + 1})
        test_support::writeFile(scene.tracePath(pid), crash_test::headerOf(SIGSEGV));
    scene.awaitPass();
    EXPECT_EQ(1U, scene.reportNames().size()) << testing::PrintToString(scene.reportNames());
}

}  // namespace

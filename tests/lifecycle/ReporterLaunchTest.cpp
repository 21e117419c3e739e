#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "lifecycle/Session.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using namespace test_support;

class ReporterLaunchTest : public lifecycle_test::SessionTest {
  protected:
    /// A crash reporter that writes down that it ran and whether it found the flag.
    void installReporter() {
        installReporter("#!/bin/sh\necho \"flag=${CRPT_ALREADY_RUNNING-unset}\" >\"" + trace +
                        "\"\n");
    }
    void installReporter(const std::string& script) {
        writeFile(reporter, script);
        std::filesystem::permissions(reporter, std::filesystem::perms::owner_all);
    }
    /// Forks from now on tell this to the host, and nothing is started.
    void answerForks(pid_t answer) {
        seams::onFork = [this, answer] {
            ++forks;
            return answer;
        };
    }
    ~ReporterLaunchTest() override { seams::onFork = nullptr; }
    static bool isFlagSet() { return std::getenv("CRPT_ALREADY_RUNNING") != nullptr; }

    int forks = 0;
    const std::string trace = directory / "reporter-ran";
    const std::string reporter = tool.appRoot() + "/bin/unwrapped/lnx64.o/crash_reporter";
};

/// Waits for the only child of this process.
int statusOfChild() {
    int status = -1;
    EXPECT_GT(waitpid(-1, &status, 0), 0);
    return status;
}

TEST_F(ReporterLaunchTest, StartsTheProgramWithoutAnyArgumentAndSetsTheFlagAfterwards) {
    installReporter();
    const seams::ScopedSeam seam(seams::onExecvp, [&](const char* path, char* const* arguments) {
        writeFile(trace + ".call",
                  std::string(path) + (arguments[0] == nullptr ? "" : " and more"));
        return std::optional<int>();
    });
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(statusOfChild(), 0);
    EXPECT_EQ(readFile(trace + ".call"), reporter);
    EXPECT_EQ(readFile(trace), "flag=unset\n");
    EXPECT_STREQ(std::getenv("CRPT_ALREADY_RUNNING"), "true");
    EXPECT_EQ(output.text(), "");
}

TEST_F(ReporterLaunchTest, StartsNoSecondReporter) {
    installReporter();
    EXPECT_TRUE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(statusOfChild(), 0);
    answerForks(1);
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
}

TEST_F(ReporterLaunchTest, ReportingThatIsSwitchedOffStartsNothing) {
    installReporter();
    off.set("");
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
    EXPECT_FALSE(isFlagSet());
    EXPECT_EQ(output.text(), "");
}

TEST_F(ReporterLaunchTest, OutsideTheMakersNetworkNothingIsStarted) {
    installReporter();
    platform.fakeInsideVeltra = false;
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
    EXPECT_FALSE(isFlagSet());
}

TEST_F(ReporterLaunchTest, TheProductIsNotAskedFor) {
    // On purpose: whether the product reports is what the host asks before it launches.
    installReporter();
    answerForks(1);
    platform.fakeProduct.name = "corvo_kit";
    EXPECT_TRUE(HCrashReporter::launchCrashReporter());
}

TEST_F(ReporterLaunchTest, AReporterThatRunsAlreadyIsEnough) {
    installReporter();
    running.set("true");
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
}

TEST_F(ReporterLaunchTest, AnyOtherValueOfTheFlagIsOverwritten) {
    answerForks(1);
    installReporter();
    running.set("TRUE");
    EXPECT_TRUE(HCrashReporter::launchCrashReporter());
    EXPECT_STREQ(std::getenv("CRPT_ALREADY_RUNNING"), "true");
}

TEST_F(ReporterLaunchTest, AMissingProgramIsASilentFailure) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
    EXPECT_FALSE(isFlagSet());
    EXPECT_EQ(output.text(), "");
}

TEST_F(ReporterLaunchTest, AProgramThatMayNotBeExecutedCountsAsMissing) {
    installReporter();
    std::filesystem::permissions(reporter, std::filesystem::perms::owner_read);
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(forks, 0);
    EXPECT_FALSE(isFlagSet());
}

TEST_F(ReporterLaunchTest, TheProgramIsLookedForBeforeTheSwitchesAreTested) {
    off.set("true");
    std::vector<std::string> lookedFor;
    platform.onExists = [&](const std::string& path) {
        lookedFor.push_back(path);
        return false;
    };
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_EQ(lookedFor, std::vector<std::string>{reporter});
}

TEST_F(ReporterLaunchTest, AFailedForkLeavesTheFlagUnsetAndMayBeTriedAgain) {
    installReporter();
    answerForks(-1);
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::launchCrashReporter());
    EXPECT_FALSE(isFlagSet());
    answerForks(1);
    EXPECT_TRUE(HCrashReporter::launchCrashReporter());
    EXPECT_TRUE(isFlagSet());
    EXPECT_EQ(forks, 2);
    EXPECT_EQ(output.text(), "");
}

TEST_F(ReporterLaunchTest, AFailedExecReturnsFalseInTheCopyAndTrueInTheHost) {
    installReporter("#!/no/such/interpreter\n");
    ChildProcess host = ChildProcess::fork([] {
        const pid_t self = getpid();
        const bool launched = HCrashReporter::launchCrashReporter();
        if (getpid() != self) _exit(!launched && !isFlagSet() ? 77 : 78);
        int status = -1;
        if (waitpid(-1, &status, 0) <= 0 || !WIFEXITED(status)) return 1;
        if (WEXITSTATUS(status) != 77) return 2;
        return launched && isFlagSet() ? 0 : 3;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
}

TEST_F(ReporterLaunchTest, IsEnabledAsksForTheProduct) {
    EXPECT_TRUE(HCrashReporter::isEnabled(""));
    EXPECT_TRUE(HCrashReporter::isEnabled("Designer"));
    EXPECT_FALSE(HCrashReporter::isEnabled("corvo_kit"));
    off.set("true");
    EXPECT_FALSE(HCrashReporter::isEnabled("Designer"));
}

}  // namespace

#include <gtest/gtest.h>

#include <ctime>

#include "lifecycle/Session.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using namespace test_support;

using PassThroughTest = lifecycle_test::SessionTest;

TEST_F(PassThroughTest, DeleteCrashStoreRemovesItAndSaysSo) {
    writeRegistrations("x");
    StdoutCapture output;
    HCrashReporter::deleteCrashStore();
    EXPECT_FALSE(std::filesystem::exists(store));
    EXPECT_TRUE(std::filesystem::exists(sessionDirectory));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Deleted crash store.\n");
}

TEST_F(PassThroughTest, DeleteCrashReporterDirRemovesAllSessions) {
    writeRegistrations("x");
    std::filesystem::create_directory(directory / ".crashReporter/43");
    StdoutCapture output;
    HCrashReporter::deleteCrashReporterDir();
    EXPECT_FALSE(std::filesystem::exists(directory / ".crashReporter"));
    EXPECT_EQ(output.text(), "");
}

TEST_F(PassThroughTest, StandardOutputIsRedirectedOnceAndClosed) {
    std::filesystem::create_directories(sessionDirectory);
    ChildProcess reporter = ChildProcess::fork([] {
        HCrashReporter::redirectStdoutToCrashLog();
        if (!HCrashRptUtils::redirectedStdOut) return 1;
        HCrashReporter::deleteCrashStore();
        HCrashReporter::closeCrashLogFile();
        return 0;
    });
    EXPECT_EQ(reporter.wait(), exitedWith(0));
    EXPECT_EQ(reporter.standardOutput(), "");
    const std::string log = test_support::readFile(sessionDirectory + "/crashReporter" +
                                                   std::to_string(reporter.pid()) + ".log");
    EXPECT_EQ(log.substr(log.find('\n') + 1), "[Crash Reporter] Deleted crash store.\n");
}

TEST_F(PassThroughTest, ClosingWithoutRedirectionClosesNothing) {
    ChildProcess host = ChildProcess::fork([] {
        HCrashReporter::closeCrashLogFile();
        HCrashReporter::deleteCrashStore();
        return 0;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
    EXPECT_EQ(host.standardOutput(), "[Crash Reporter] Deleted crash store.\n");
}

TEST_F(PassThroughTest, SleepHandsItsSecondsOn) {
    for (const int seconds : {0, -5, 1, 7}) HCrashReporter::sleep(seconds);
    EXPECT_EQ(pauses.seconds, (std::vector<long>{1, 7})) << "none of less than a second";
}

TEST_F(PassThroughTest, TimestampHasTheLayoutOfAsctimeWithoutLineFeed) {
    const std::string stamp = HCrashReporter::timestamp();
    std::tm parsed = {};
    const char* end = strptime(stamp.c_str(), "%a %b %e %H:%M:%S %Y", &parsed);
    ASSERT_NE(end, nullptr) << stamp;
    EXPECT_STREQ(end, "");
    EXPECT_EQ(stamp.size(), 24u);
}

}  // namespace

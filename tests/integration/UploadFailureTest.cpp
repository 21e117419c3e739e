// Uploads of a real crash that fail before a server is asked: the report is filed as a failure, the
// log says why, the crash reporter leaves. UploadOutcomesTest has those that a server answers.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "integration/CrashSession.h"
#include "integration/ReportContent.h"

namespace {

using integration_test::CrashSession;
using integration_test::ReportContent;
using integration_test::standInOrder;
using integration_test::timesIn;
using namespace test_support;

class UploadFailureTest : public testing::Test {
  protected:
    UploadFailureTest() : server(session.directory / "server") { session.sendTo(server); }

    /// Lets a host crash and the crash reporter fail to send its report.
    void crashAndExpectFailure() {
        ChildProcess host = session.startHost({"-crash", "null-write"});
        const pid_t reporter = session.reporterPid();
        EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(128 + SIGSEGV));
        EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
        EXPECT_TRUE(session.processes().empty());
        EXPECT_TRUE(session.inStore("CrashReport_").empty());
        log = session.log(reporter);

        const std::vector<std::string> filed = session.filed();
        ASSERT_EQ(filed.size(), 1U);
        const std::string suffix = ".json.send_fail";
        ASSERT_GT(filed[0].size(), suffix.size());
        EXPECT_EQ(filed[0].substr(filed[0].size() - suffix.size()), suffix);
        const ReportContent report(session.backup + "/" + filed[0]);
        EXPECT_EQ(report.text("signalNumber"), "11");
        EXPECT_EQ(report.text("subSystem"), "geometry");
        EXPECT_FALSE(report.list("stacktrace").empty());

        waiting = session.store + "/" + filed[0].substr(0, filed[0].rfind('.'));
        moved = "[Crash Reporter] Moved crash report to backup store at " + session.backup + "/" +
                filed[0] + "\n";
        EXPECT_EQ(timesIn(log, "Velcurl send success"), 0U);
        EXPECT_EQ(timesIn(log, "Successfully sent"), 0U);
        EXPECT_EQ(timesIn(log, moved), 1U);
        EXPECT_TRUE(server.storedReports().empty());
    }

    std::string failed() const {
        return "\n[Crash Reporter] Error:  Unable to send error report to server, report = " +
               waiting;
    }

    CrashSession session;
    ReportServer server;
    std::string log;
    std::string waiting;  ///< path of the report in the crash store
    std::string moved;    ///< message of its filing
};

TEST_F(UploadFailureTest, WithoutACertificateFileNothingIsTried) {
    std::filesystem::remove(session.caFile);
    crashAndExpectFailure();
    EXPECT_TRUE(standInOrder(
        log, {"\n[Crash Reporter] Error: CA certificate file  does not exist.\n" + moved}));
    for (const char* part : {"Sending crash report", "Running cmd", "CURL LOG", "Unable to send"})
        EXPECT_EQ(timesIn(log, part), 0U) << part;
}

TEST_F(UploadFailureTest, WithoutTheUploadToolNothingIsRun) {
    session.removeProgram("velcurl");
    crashAndExpectFailure();
    EXPECT_TRUE(standInOrder(
        log, {" : Sending crash report to Veltra server " + server.url() + failed() + moved}));
    for (const char* part : {"Running cmd", "CURL LOG"}) EXPECT_EQ(timesIn(log, part), 0U) << part;
}

TEST_F(UploadFailureTest, WithoutCurlTheLogSaysWhatIsMissing) {
    session.environment["VELCURL_CURL"] = session.directory / "no-curl";
    crashAndExpectFailure();
    EXPECT_TRUE(standInOrder(
        log, {" : Sending crash report to Veltra server ",
              "\n[Crash Reporter] Running cmd: " + session.program("velcurl") + "  --verbose ",
              "\n[Crash Reporter] CURL LOG: velcurl: no curl to run: " +
                  (session.directory / "no-curl") + " is not an executable file",
              failed() + moved}));
    EXPECT_FALSE(std::filesystem::exists(session.tmp + "/CrashReporter/curlOut.log"));
}

}  // namespace

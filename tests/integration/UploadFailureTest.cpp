// Uploads that fail: the report is filed as a failure, the log says why, the crash reporter leaves.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <optional>

#include "integration/CrashSession.h"
#include "integration/ReportContent.h"
#include "support/DeafPort.h"

namespace {

using integration_test::CrashSession;
using integration_test::ReportContent;
using integration_test::standInOrder;
using integration_test::timesIn;
using namespace test_support;

class UploadFailureTest : public testing::Test {
  protected:
    void startServer(const ReportServer::Options& options = {}) {
        server.emplace(session.directory / "server", options);
        session.sendTo(*server);
    }

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
        EXPECT_TRUE(server->storedReports().empty());
    }

    /// The upload was tried; the tool's log shows this; the next message continues the line.
    void expectTried(const std::string& shown) {
        EXPECT_TRUE(standInOrder(
            log, {" : Sending crash report to Veltra server ",
                  "\n[Crash Reporter] Running cmd: " + session.program("velcurl") + "  --verbose ",
                  "\n[Crash Reporter] CURL LOG: " + shown, failed() + moved}));
        EXPECT_FALSE(std::filesystem::exists(session.directory / "tmp/CrashReporter/curlOut.log"));
    }
    std::string failed() const {
        return "\n[Crash Reporter] Error:  Unable to send error report to server, report = " +
               waiting;
    }

    CrashSession session;
    std::optional<ReportServer> server;
    std::string log;
    std::string waiting;  ///< path of the report in the crash store
    std::string moved;    ///< message of its filing
};

TEST_F(UploadFailureTest, AWrongAccessCodeIsRefused) {
    ReportServer::Options options;
    options.environment["REPORT_SERVER_ACCESS"] = "other1";
    startServer(options);
    crashAndExpectFailure();
    expectTried("< HTTP/1.1 403 Forbidden");
}

TEST_F(UploadFailureTest, AServerInTroubleAnswers500) {
    startServer();
    server->setAnswer("500 Internal Server Error");
    crashAndExpectFailure();
    expectTried("< HTTP/1.1 500 Internal Server Error");
}

TEST_F(UploadFailureTest, AnyOtherStatusThan200IsAFailure) {
    startServer();
    server->setAnswer("201 Created");
    crashAndExpectFailure();
    expectTried("< HTTP/1.1 201 Created");
}

TEST_F(UploadFailureTest, NobodyListens) {
    const DeafPort port(DeafPort::REFUSES);
    startServer();
    session.environment["VELCURL_CONNECT_TO"] =
        server->hostName() + ":443:127.0.0.1:" + port.number();
    crashAndExpectFailure();
    expectTried("curl: (7) ");
}

TEST_F(UploadFailureTest, TheServersCertificateIsOfAnUnknownAuthority) {
    startServer();
    {
        const ReportServer other(session.directory / "other");
        session.trust(other.caFile());
    }
    crashAndExpectFailure();
    expectTried("curl: (60) ");
}

TEST_F(UploadFailureTest, WithoutACertificateFileNothingIsTried) {
    startServer();
    std::filesystem::remove(session.caFile);
    crashAndExpectFailure();
    EXPECT_TRUE(standInOrder(
        log, {"\n[Crash Reporter] Error: CA certificate file  does not exist.\n" + moved}));
    for (const char* part : {"Sending crash report", "Running cmd", "CURL LOG", "Unable to send"})
        EXPECT_EQ(timesIn(log, part), 0U) << part;
}

TEST_F(UploadFailureTest, WithoutTheUploadToolNothingIsRun) {
    startServer();
    session.removeProgram("velcurl");
    crashAndExpectFailure();
    EXPECT_TRUE(standInOrder(
        log, {" : Sending crash report to Veltra server " + server->url() + failed() + moved}));
    for (const char* part : {"Running cmd", "CURL LOG"}) EXPECT_EQ(timesIn(log, part), 0U) << part;
}

TEST_F(UploadFailureTest, WithoutCurlTheLogSaysWhatIsMissing) {
    startServer();
    session.environment["VELCURL_CURL"] = session.directory / "no-curl";
    crashAndExpectFailure();
    expectTried("velcurl: no curl to run: " + (session.directory / "no-curl") +
                " is not an executable file");
}

}  // namespace

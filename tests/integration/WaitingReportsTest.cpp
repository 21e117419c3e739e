// Reports that wait when the crash reporter looks: many, refused ones, empty ones. A process that
// stays alive keeps it looking.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

#include "HUTFile.h"
#include "integration/CrashSession.h"

namespace {

using integration_test::CrashSession;
using integration_test::standInOrder;
using integration_test::timesIn;
using namespace test_support;
using Names = std::vector<std::string>;

constexpr char kSendSuccess[] = "[Crash Reporter] Velcurl send success\n";
constexpr char kLimit[] = "[Crash Reporter] Crash report send limit of 30 files reached.\n";
constexpr char kEmpty[] = "[Crash Reporter] Empty crash report not sent.\n";

class WaitingReportsTest : public testing::Test {
  protected:
    WaitingReportsTest() { session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n"); }

    void startServer(const ReportServer::Options& options = {}) {
        server.emplace(session.directory / "server", options);
        session.sendTo(*server);
    }
    void addReports(int count) {
        for (int i = 0; i < count; ++i)
            session.addReport("CrashReport_" + std::to_string(i) + ".json", contentOf(i));
    }
    static std::string contentOf(int number) {
        return "{\n  \"number\": \"" + std::to_string(number) + "\"\n}";
    }
    /// Names of the waiting reports in the order in which the crash reporter finds them.
    Names inOrderOfSending() const {
        Names names;
        const std::unique_ptr<HUTFileIter> entries(HUTFile(session.store).createFileIter());
        for (; entries->isValid(); entries->next()) {
            const std::string name = HUTFile(entries->getPath()).getName();
            if (name.rfind("CrashReport_", 0) == 0) names.push_back(name);
        }
        return names;
    }
    bool isDone() const {
        return session.eventually([this] { return session.inStore("CrashReport_").empty(); });
    }
    /// The host ends, and with it the crash reporter.
    void expectLeaves(ChildProcess& reporter) {
        host.signal(SIGKILL);
        host.wait(session.timeLeft());
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
        EXPECT_TRUE(session.processes().empty());
    }
    std::multiset<std::string> arrivedContents() const {
        std::multiset<std::string> contents;
        for (const std::string& name : server->storedReports())
            contents.insert(readFile(server->storePath() + "/" + name));
        return contents;
    }

    CrashSession session;
    std::optional<ReportServer> server;
    ChildProcess host = ChildProcess::exec({"sleep", "60"});
};

TEST_F(WaitingReportsTest, OfThirtyOneReportsThirtyAreSentInOnePassAndTheLastInTheNext) {
    constexpr int kReports = 31;
    startServer();
    addReports(kReports);
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);

    const std::string log = session.log(reporter.pid());
    ASSERT_EQ(timesIn(log, kLimit), 1U);
    const auto limit = log.find(kLimit);
    EXPECT_EQ(timesIn(log.substr(0, limit), kSendSuccess), 30U);
    EXPECT_EQ(timesIn(log.substr(limit), kSendSuccess), 1U);

    std::multiset<std::string> sent;
    std::set<std::string> filed;
    for (int i = 0; i < kReports; ++i) {
        sent.insert(contentOf(i));
        const std::string name = "CrashReport_" + std::to_string(i) + ".json.send_success";
        filed.insert(name);
        EXPECT_EQ(readFile(session.backup + "/" + name), contentOf(i));
    }
    EXPECT_EQ(arrivedContents(), sent);
    const Names names = session.filed();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), filed);
}

TEST_F(WaitingReportsTest, AfterARefusedReportTheOthersOfThatPassArriveButAreFiledAsFailures) {
    constexpr std::size_t kRefused = 2;
    ReportServer::Options options;
    options.environment["REPORT_SERVER_MAX_BYTES"] = "10000";
    startServer(options);
    addReports(5);
    const Names order = inOrderOfSending();
    ASSERT_EQ(order.size(), 5U);
    writeFile(session.store + "/" + order[kRefused], std::string(20000, 'x'));

    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    session.addReport("CrashReport_next.json", "{}");
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);

    Names expected = {"CrashReport_next.json.send_success"};
    for (std::size_t i = 0; i < order.size(); ++i)
        expected.push_back(order[i] + (i < kRefused ? ".send_success" : ".send_fail"));
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(session.filed(), expected);

    EXPECT_EQ(server->storedReports().size(), 5U);
    EXPECT_EQ(arrivedContents().count(std::string(20000, 'x')), 0U);
    const std::string log = session.log(reporter.pid());
    EXPECT_EQ(timesIn(log, "CURL LOG: < HTTP/1.1 413 "), 1U);
    EXPECT_EQ(timesIn(log, kSendSuccess), 5U);
    const auto moved = [this](const std::string& name) {
        return "[Crash Reporter] Moved crash report to backup store at " + session.backup + "/" +
               name + "\n";
    };
    EXPECT_TRUE(standInOrder(
        log, {kSendSuccess + moved(order[0] + ".send_success"),
              kSendSuccess + moved(order[1] + ".send_success"),
              "[Crash Reporter] Error:  Unable to send error report to server, report = " +
                  session.store + "/" + order[2] + moved(order[2] + ".send_fail"),
              kSendSuccess + moved(order[3] + ".send_fail"),
              kSendSuccess + moved(order[4] + ".send_fail"),
              kSendSuccess + moved("CrashReport_next.json.send_success")}));
}

TEST_F(WaitingReportsTest, AServerThatRecoversGetsTheReportsOfTheNextPass) {
    startServer();
    server->setAnswer("500 Internal Server Error");
    session.addReport("CrashReport_early.json", "{}");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    server->setAnswer("");
    session.addReport("CrashReport_late.json", "{}");
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);
    EXPECT_EQ(session.filed(),
              (Names{"CrashReport_early.json.send_fail", "CrashReport_late.json.send_success"}));
    EXPECT_EQ(server->storedReports().size(), 1U);
}

TEST_F(WaitingReportsTest, AnEmptyReportIsRemovedAndNotSent) {
    startServer();
    session.addReport("CrashReport_empty.json", "");
    session.addReport("CrashReport_full.json", "{}");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);
    EXPECT_EQ(session.filed(), Names{"CrashReport_full.json.send_success"});
    EXPECT_EQ(server->storedReports().size(), 1U);
    const std::string log = session.log(reporter.pid());
    EXPECT_EQ(timesIn(log, kEmpty), 1U);
    EXPECT_EQ(timesIn(log, kSendSuccess), 1U);
}

TEST_F(WaitingReportsTest, AReportWhosePathNeedsQuotingArrivesWhole) {
    startServer();
    session.addReport("CrashReport_a b;c'd.json", "{}");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);
    EXPECT_EQ(session.filed(), Names{"CrashReport_a b;c'd.json.send_success"});
    EXPECT_EQ(arrivedContents(), (std::multiset<std::string>{"{}"}));
}

TEST_F(WaitingReportsTest, PlantedNamesRunNothingAndAreFiledAsFailures) {
    startServer();
    // What a command in a name would make, in whatever directory the shell runs.
    const Names planted = {"CrashReport_$(touch made).json",
                           "CrashReport_`touch made`.json",
                           "CrashReport_\"; touch made; \".json",
                           "CrashReport_${HOME}.json",
                           "CrashReport_a\\.json",
                           "CrashReport_\nb.json",
                           "CrashReport_\" & touch made; echo \"",
                           "CrashReport_\"$(touch made)\".json\\"};
    Names expected;
    for (const std::string& name : planted) {
        session.addReport(name, "{}");
        expected.push_back(name + ".send_fail");
    }
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isDone());
    session.addReport("CrashReport_plain.json", "{}");
    EXPECT_TRUE(isDone());
    expectLeaves(reporter);

    expected.push_back("CrashReport_plain.json.send_success");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(session.filed(), expected);
    EXPECT_EQ(server->storedReports().size(), 1U);
    const std::string log = session.log(reporter.pid());
    EXPECT_EQ(timesIn(log, "[Crash Reporter] Running cmd: "), 1U) << log;
    for (const std::string& name : planted) {
        std::string shown = name;
        std::replace(shown.begin(), shown.end(), '\n', '?');
        EXPECT_EQ(timesIn(log,
                          "[Crash Reporter] Error: crash report not sent, its name holds "
                          "characters that a shell acts on: " +
                              shown + "\n"),
                  1U)
            << log;
    }
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(session.directory.path()))
        EXPECT_NE(entry.path().filename(), "made") << entry.path();
}

TEST_F(WaitingReportsTest, TwoSessionsThatShareATemporaryDirectoryDeliverAllAndFileThemSo) {
    constexpr int kReports = 15;
    startServer();
    CrashSession other;
    other.sendTo(*server);
    other.environment["HUT_TMP_DIR"] = session.environment["HUT_TMP_DIR"];
    other.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    Names expected;
    for (int i = 0; i < kReports; ++i) {
        const std::string name = "CrashReport_" + std::to_string(i) + ".json";
        session.addReport(name, contentOf(i));
        other.addReport(name, contentOf(i));
        expected.push_back(name + ".send_success");
    }
    std::sort(expected.begin(), expected.end());
    ChildProcess reporter = session.startReporter();
    ChildProcess othersReporter = other.startReporter();
    EXPECT_TRUE(isDone());
    EXPECT_TRUE(other.eventually([&] { return other.inStore("CrashReport_").empty(); }));
    expectLeaves(reporter);
    EXPECT_EQ(othersReporter.wait(other.timeLeft()), exitedWith(0));
    EXPECT_EQ(server->storedReports().size(), 2U * kReports);
    EXPECT_EQ(session.filed(), expected);
    EXPECT_EQ(other.filed(), expected);
}

}  // namespace

// A crash reaches the report server: real hosts, real signals, real uploads.
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>

#include "integration/CrashSession.h"
#include "integration/ReportContent.h"

namespace {

namespace fs = std::filesystem;
using integration_test::CrashSession;
using integration_test::ReportContent;
using integration_test::standInOrder;
using integration_test::timesIn;
using namespace test_support;

constexpr char kLeaving[] =
    "[Crash Reporter] No registered process runs and no report waits, leaving.\n";

std::string number(pid_t pid) {
    return std::to_string(pid);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

class DeliveryTest : public testing::Test {
  protected:
    DeliveryTest() { session.sendTo(server); }

    /// Waits for a host's end, and for its report in the backup store.
    void expectCrash(ChildProcess& host, int status) {
        EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(status)) << host.standardError();
        EXPECT_TRUE(session.eventually([&] { return !filedName(host.pid()).empty(); }))
            << "the report was not filed";
    }

    /// Name of the host's one report in the backup store, empty when there is none.
    std::string filedName(pid_t host) const {
        std::string found;
        for (const std::string& name : session.filed()) {
            if (name.compare(0, prefixOf(host).size(), prefixOf(host)) != 0) continue;
            EXPECT_EQ(found, "") << "two reports of one crash";
            found = name;
        }
        return found;
    }
    std::string filedPath(pid_t host) const { return session.backup + "/" + filedName(host); }

    /// The host's report was accepted, arrived byte for byte and is filed so.
    void expectDelivered(pid_t host) {
        const std::string suffix = ".json.send_success";
        const std::string name = filedName(host);
        ASSERT_GT(name.size(), suffix.size());
        EXPECT_EQ(name.substr(name.size() - suffix.size()), suffix);
        std::vector<std::string> arrived = server.storedReports();
        arrived.erase(
            std::remove_if(arrived.begin(), arrived.end(),
                           [&](const std::string& n) { return !contains(n, prefixOf(host)); }),
            arrived.end());
        ASSERT_EQ(arrived.size(), 1U);
        EXPECT_EQ(readFile(server.storePath() + "/" + arrived[0]), readFile(filedPath(host)));
    }

    /// It is over: the crash reporter leaves by itself, and nothing stays behind.
    void expectReporterLeaves(pid_t reporter) {
        EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
        EXPECT_TRUE(session.processes().empty());
        EXPECT_TRUE(session.inStore("CrashReport_").empty());
        const std::string log = session.log(reporter);
        EXPECT_EQ(timesIn(log, kLeaving), 1U);
        EXPECT_EQ(log.rfind(kLeaving) + std::string(kLeaving).size(), log.size());
    }

    static std::string prefixOf(pid_t host) { return "CrashReport_" + number(host) + "_"; }

    CrashSession session;
    ReportServer server{session.directory / "server"};
};

TEST_F(DeliveryTest, ASegmentationFaultInALibraryIsReportedFromEndToEnd) {
    ChildProcess host =
        session.startHost({"-crash", "null-write", "-dump", "-wait", "1", "-source", "run.tcl"});
    const pid_t pid = host.pid();
    const pid_t reporter = session.reporterPid();
    expectCrash(host, 128 + SIGSEGV);

    // What the host says and leaves in its working directory.
    const std::string raw = session.work + "/hs_mangled_err_pid" + number(pid) + ".log";
    const std::string readable = session.work + "/hs_err_pid" + number(pid) + ".log";
    EXPECT_EQ(host.standardOutput(),
              "example_host: process " + number(pid) +
                  ", crash reporting is on\n"
                  "Error: Abnormal program termination (11) of process id " +
                  number(pid) + ". Please check this file for stacktrace: " + readable + "\n");
    EXPECT_EQ(host.standardError(), "");
    const std::string rawText = readFile(raw);
    EXPECT_EQ(rawText.rfind("#\n# An unexpected error has occurred (11)\n#\nStack:\n", 0), 0U);
    EXPECT_TRUE(contains(rawText, "libzeb_HCrashReporter.so"));
    EXPECT_TRUE(contains(rawText, "/libzeb_geometry.so(_ZN3zeb8geometry4Mesh12collapseEdge"));
    EXPECT_FALSE(contains(rawText, "partial stack trace"));
    const std::string demangledText = readFile(readable);
    EXPECT_TRUE(contains(demangledText, "\nlibzeb_geometry.so(zeb::geometry::Mesh::collapseEdge("));
    EXPECT_FALSE(contains(demangledText, "HCrashReporter"));

    // The same two files in the crash store.
    EXPECT_EQ(readFile(session.store + "/hs_mangled_err_pid" + number(pid) + ".log"), rawText);
    EXPECT_EQ(readFile(session.store + "/hs_err_pid" + number(pid) + ".log"), demangledText);

    // The report.
    expectDelivered(pid);
    const ReportContent report(filedPath(pid));
    EXPECT_EQ(report.keys(),
              (std::vector<std::string>{"timestamp", "programName", "productVersion", "buildNumber",
                                        "buildDate", "commandLine", "testcase", "totalMemoryUsage",
                                        "memoryUtilization", "cpuUtilization", "osInfo", "cpuInfo",
                                        "memInfo", "signalNumber", "subSystem", "functionName",
                                        "stacktrace", "GuiStrDump"}));
    EXPECT_EQ(report.text("programName"), "example_host");
    EXPECT_EQ(report.text("productVersion"), "1.0");
    EXPECT_EQ(report.text("buildNumber"), "100");
    EXPECT_EQ(report.text("commandLine"),
              "example_host -crash null-write -dump -wait 1 -source run.tcl");
    EXPECT_EQ(report.text("testcase"), session.work + "/run.tcl");
    EXPECT_EQ(report.text("signalNumber"), "11");
    EXPECT_EQ(report.text("subSystem"), "geometry");
    EXPECT_EQ(report.text("functionName").rfind("zeb::geometry::Mesh::collapseEdge(", 0), 0U);
    EXPECT_EQ(report.list("GuiStrDump"),
              (std::vector<std::string>{"window: Example Host", "menu: Mesh > Refine",
                                        "status: solving, step 3 of 3"}));
    std::string trace;
    for (const std::string& line : report.list("stacktrace")) trace += line + "\n";
    EXPECT_EQ(trace, demangledText);

    // The crash reporter's story.
    expectReporterLeaves(reporter);
    const std::string filed = filedPath(pid);
    const std::string suffix = ".send_success";
    const std::string name = filedName(pid).substr(0, filedName(pid).size() - suffix.size());
    const std::string waiting = session.store + "/" + name;
    const std::string log = session.log(reporter);
    EXPECT_TRUE(standInOrder(
        log,
        {"[Crash Reporter] Started with processId = " + number(reporter) + ", at dir = '" +
             session.work + "', at time = ",
         "\n[Crash Reporter] Created Process registration file in crash store: " +
             session.registrations + "\n",
         "[Crash Reporter] New process registration successfull for <hostname>:<pid> = " +
             CrashSession::recordOf(pid) + "\n",
         "[Crash Reporter] created tmp dir :" + (session.directory / "tmp/CrashReporter") + "\n",
         " : Sending crash report to Veltra server " + server.url() + "\n",
         "[Crash Reporter] Running cmd: " + session.program("velcurl") + "  --verbose --cacert " +
             session.caFile + " -F file_loc=@\"" + waiting +
             "\" -F domain=" DOMAIN_NAME " -F access=" ACCESS_CODE " " + server.url() + " > " +
             (session.directory / "tmp/CrashReporter/curlOut.log") + " 2>&1\n",
         "[Crash Reporter] CURL LOG: < HTTP/1.1 200 OK",
         "[Crash Reporter] Successfully sent error report to server, report = " + waiting + "\n",
         "[Crash Reporter] Velcurl send success\n",
         "[Crash Reporter] Moved crash report to backup store at " + filed + "\n", kLeaving}));
    EXPECT_FALSE(fs::exists(session.directory / "tmp/CrashReporter/curlOut.log"));
    EXPECT_EQ(session.logNames().size(), 1U);
}

// --- Every way to die ---------------------------------------------------------------------------

struct Way {
    const char* option;
    int signal;
    const char* subSystem;
    const char* function;
};
void PrintTo(const Way& way, std::ostream* out) {
    *out << way.option;
}

const Way kWays[] = {
    {"illegal-instruction", SIGILL, "geometry", "zeb::geometry::Mesh::refine()"},
    {"division-by-zero", SIGFPE, "geometry", "zeb::geometry::Mesh::averageHeight(int) const"},
    {"beyond-file", SIGBUS, "geometry", "zeb::geometry::Mesh::lastByteOf("},
    {"abort", SIGABRT, "solver", "zeb::solver::Solver::giveUp()"},
    {"quit", SIGQUIT, "solver", "zeb::solver::Solver::interrupt()"},
    {"stack-overflow", SIGSEGV, "solver", "zeb::solver::Solver::relax(long)"},
};

std::string wayName(const testing::TestParamInfo<Way>& info) {
    std::string name;
    bool wordBegins = true;
    for (const char* c = info.param.option; *c != '\0'; ++c) {
        if (*c != '-') name += wordBegins ? static_cast<char>(*c - 'a' + 'A') : *c;
        wordBegins = *c == '-';
    }
    return name;
}

class WayToDieTest : public DeliveryTest, public testing::WithParamInterface<Way> {};

TEST_P(WayToDieTest, EndsWithItsStatusAndAReportThatNamesLibraryAndFunction) {
    const Way& way = GetParam();
    ChildProcess host = session.startHost({"-crash", way.option});
    const pid_t reporter = session.reporterPid();
    expectCrash(host, 128 + way.signal);
    expectReporterLeaves(reporter);

    for (const char* name : {"hs_mangled_err_pid", "hs_err_pid"})
        EXPECT_TRUE(
            contains(readFile(session.work + "/" + name + number(host.pid()) + ".log"),
                     "# An unexpected error has occurred (" + std::to_string(way.signal) + ")\n"));
    expectDelivered(host.pid());
    const ReportContent report(filedPath(host.pid()));
    EXPECT_EQ(report.text("signalNumber"), std::to_string(way.signal));
    EXPECT_EQ(report.text("subSystem"), way.subSystem);
    EXPECT_EQ(report.text("functionName").rfind(way.function, 0), 0U)
        << report.text("functionName");
}

INSTANTIATE_TEST_SUITE_P(, WayToDieTest, testing::ValuesIn(kWays), wayName);

// --- Several hosts, and none that crashes -------------------------------------------------------

TEST_F(DeliveryTest, TwoHostsOfASessionShareOneCrashReporterWhichOutlivesTheFirst) {
    ChildProcess first = session.startHost({"-crash", "null-write"});
    const pid_t reporter = session.reporterPid();
    ASSERT_TRUE(session.isRegistered(first.pid()));

    session.environment["CRPT_ALREADY_RUNNING"] = "true";
    ChildProcess second = session.startHost({"-crash", "division-by-zero", "-wait", "3"});
    ASSERT_TRUE(session.isRegistered(second.pid()));
    second.signal(SIGSTOP);  // until the first one's report has gone its way

    expectCrash(first, 128 + SIGSEGV);
    EXPECT_TRUE(session.goesOn(reporter)) << "the crash reporter left before the second host";
    expectDelivered(first.pid());
    EXPECT_EQ(filedName(second.pid()), "");

    second.signal(SIGCONT);
    expectCrash(second, 128 + SIGFPE);
    expectDelivered(second.pid());
    expectReporterLeaves(reporter);
    EXPECT_EQ(session.logNames().size(), 1U);
    EXPECT_EQ(session.filed().size(), 2U);
    for (const pid_t pid : {first.pid(), second.pid()})
        EXPECT_EQ(timesIn(session.log(reporter), "successfull for <hostname>:<pid> = " +
                                                     CrashSession::recordOf(pid) + "\n"),
                  1U);
}

TEST_F(DeliveryTest, AHostThatEndsNormallyLeavesNoReport) {
    ChildProcess host = session.startHost({"-wait", "1"});
    const pid_t reporter = session.reporterPid();
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    expectReporterLeaves(reporter);
    EXPECT_FALSE(contains(session.log(reporter), "Running cmd"));
    EXPECT_FALSE(fs::exists(session.backup));
    EXPECT_TRUE(server.storedReports().empty());
    EXPECT_EQ(test_support::namesIn(session.work), std::vector<std::string>{".crashReporter"});
}

}  // namespace

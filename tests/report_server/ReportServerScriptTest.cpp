// Starting and stopping by the script.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

#include "support/ChildProcess.h"
#include "support/ReportServer.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;
using Words = std::vector<std::string>;
namespace fs = std::filesystem;

bool isListening(int port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connected =
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(descriptor);
    return connected;
}

struct Result {
    ExitState exit;
    std::string output;
    std::string error;
};

Result script(const Words& arguments, const std::map<std::string, std::string>& environment = {}) {
    Words argv = {REPORT_SERVER_SCRIPT};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    ChildProcess::Options options;
    options.set = environment;
    ChildProcess child = ChildProcess::exec(argv, options);
    const ExitState exit = child.wait();
    return {exit, child.standardOutput(), child.standardError()};
}

class ReportServerScriptTest : public testing::Test {
  protected:
    ~ReportServerScriptTest() override {
        if (fs::exists(path + "/pid")) script({"stop", path});
    }
    int numberIn(const std::string& name) const { return std::stoi(readFile(path + "/" + name)); }

    TempDir dir;
    const std::string path = dir / "with a blank";
};

TEST_F(ReportServerScriptTest, StartPrintsThePortAndReturnsWhenItAnswers) {
    const Result start = script({"start", path});
    ASSERT_EQ(start.exit, exitedWith(0)) << start.error;
    EXPECT_EQ(start.output, readFile(path + "/port"));
    EXPECT_EQ(start.error, "");
    EXPECT_TRUE(isListening(numberIn("port")));
    EXPECT_TRUE(isRunning(numberIn("pid")));
}

TEST_F(ReportServerScriptTest, StopLeavesNeitherProcessNorPort) {
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    const int pid = numberIn("pid");
    const int port = numberIn("port");
    const Result stop = script({"stop", path});
    EXPECT_EQ(stop.exit, exitedWith(0)) << stop.error;
    EXPECT_FALSE(isRunning(pid));
    EXPECT_FALSE(isListening(port));
    EXPECT_FALSE(fs::exists(path + "/pid"));
    EXPECT_FALSE(fs::exists(path + "/port"));
}

TEST_F(ReportServerScriptTest, StatusSaysWhetherItRuns) {
    EXPECT_EQ(script({"status", path}).exit, exitedWith(3));
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    const Result running = script({"status", path});
    EXPECT_EQ(running.exit, exitedWith(0));
    EXPECT_EQ(running.output, "running: process " + std::to_string(numberIn("pid")) + ", port " +
                                  std::to_string(numberIn("port")) + "\n");
    script({"stop", path});
    const Result stopped = script({"status", path});
    EXPECT_EQ(stopped.exit, exitedWith(3));
    EXPECT_EQ(stopped.output, "not running\n");
}

TEST_F(ReportServerScriptTest, KeysAndReportsAreForTheOwnerOnly) {
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    for (const char* name : {"", "/server.key", "/store", "/upload", "/log", "/lighttpd.conf"}) {
        struct stat status = {};
        ASSERT_EQ(stat((path + name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 077u, 0u) << name;
    }
    EXPECT_FALSE(fs::exists(path + "/ca.key")) << "nobody can make a second certificate";
}

TEST_F(ReportServerScriptTest, TwoServersRunSideBySideAndStopApart) {
    ReportServer other(dir / "other");
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    EXPECT_NE(numberIn("port"), other.port());
    script({"stop", path});
    EXPECT_TRUE(isRunning(other.pid()));
    EXPECT_TRUE(isListening(other.port()));
}

TEST_F(ReportServerScriptTest, APortThatIsTakenMakesItTryAnother) {
    ReportServer other(dir / "other");
    const Result start = script({"start", path, "--port", std::to_string(other.port())});
    ASSERT_EQ(start.exit, exitedWith(0)) << start.error;
    EXPECT_NE(numberIn("port"), other.port());
    EXPECT_TRUE(isListening(numberIn("port")));
    EXPECT_TRUE(isRunning(other.pid()));
}

TEST_F(ReportServerScriptTest, ASecondStartInTheSameDirectoryIsRefusedAndDisturbsNothing) {
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    const int pid = numberIn("pid");
    const Result second = script({"start", path});
    EXPECT_EQ(second.exit, exitedWith(1));
    EXPECT_EQ(second.error, "report_server: already running in " + path + " (process " +
                                std::to_string(pid) + ")\n");
    EXPECT_EQ(numberIn("pid"), pid);
    EXPECT_TRUE(isListening(numberIn("port")));
}

TEST_F(ReportServerScriptTest, AfterAStopOrACrashItStartsAgainAndKeepsTheReports) {
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    writeFile(path + "/store/report", "kept");
    script({"stop", path});
    ASSERT_EQ(script({"start", path}).exit, exitedWith(0));
    const int killed = numberIn("pid");
    kill(killed, SIGKILL);
    EXPECT_TRUE(eventually([&] { return !isRunning(killed); }));
    const Result again = script({"start", path});
    ASSERT_EQ(again.exit, exitedWith(0)) << again.error;
    EXPECT_TRUE(isListening(numberIn("port")));
    EXPECT_EQ(readFile(path + "/store/report"), "kept");
}

TEST_F(ReportServerScriptTest, StopSparesAnotherProcessOfTheRecordedNumber) {
    fs::create_directory(path);
    ChildProcess stranger = ChildProcess::exec({"sleep", "60"});
    writeFile(path + "/pid", std::to_string(stranger.pid()) + "\n");
    const Result stop = script({"stop", path});
    EXPECT_EQ(stop.exit, exitedWith(0));
    EXPECT_EQ(stop.error, "report_server: not running in " + path + "\n");
    EXPECT_TRUE(isRunning(stranger.pid()));
}

TEST_F(ReportServerScriptTest, AStartThatFailsShowsWhyAndLeavesNothing) {
    // A directory in place of the server's own log keeps lighttpd from starting.
    fs::create_directories(path + "/log/reports.log");
    const Result inOld = script({"start", path});
    EXPECT_EQ(inOld.exit, exitedWith(1));
    EXPECT_NE(inOld.error.find("report_server: lighttpd did not start\n"), std::string::npos);
    EXPECT_NE(inOld.error.find("reports.log"), std::string::npos) << inOld.error;
    EXPECT_EQ(namesIn(path), Words{"log"}) << "only what was there before";

    fs::create_directory(dir / "bin");
    writeFile(dir / "bin/lighttpd", "#!/bin/sh\necho unlucky >&2\nexit 1\n");
    fs::permissions(dir / "bin/lighttpd", fs::perms::owner_all);
    const std::string fresh = dir / "fresh";
    const Result inNew = script({"start", fresh}, {{"PATH", dir / "bin:" + std::getenv("PATH")}});
    EXPECT_EQ(inNew.exit, exitedWith(1));
    EXPECT_EQ(inNew.error, "report_server: lighttpd did not start\nunlucky\n");
    EXPECT_FALSE(fs::exists(fresh));
}

TEST_F(ReportServerScriptTest, AStartThatCannotWorkIsRefusedBeforeAnythingIsMade) {
    const Words bad[] = {{"start", path, "--cgi", dir / "missing"},
                         {"start", path, "--name", "a b"},
                         {"start", path, "--name", ""},
                         {"start", path, "--port", "x"},
                         {"start", path, "--port", "0"},
                         {"start", path, "--port", "65536"},
                         {"start", dir / "a\"b"},
                         {"start", dir / "a\\b"},
                         {"start", dir / "missing/below"}};
    for (const Words& arguments : bad) {
        const Result result = script(arguments);
        EXPECT_EQ(result.exit, exitedWith(1)) << result.error;
        EXPECT_NE(result.error, "");
    }
    EXPECT_EQ(script({"start", path}, {{"REPORT_SERVER_MAX_BYTES", "many"}}).exit, exitedWith(1));
    EXPECT_EQ(script({"start", path}, {{"REPORT_SERVER_ACCESS", "a\"b"}}).exit, exitedWith(1));
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

TEST_F(ReportServerScriptTest, AWrongCommandLineShowsTheUsage) {
    for (const Words& arguments :
         {Words{}, Words{"start"}, Words{"restart", path}, Words{"start", path, "--name"},
          Words{"start", path, "--other", "x"}}) {
        const Result result = script(arguments);
        EXPECT_EQ(result.exit, exitedWith(2));
        EXPECT_EQ(result.error.rfind("usage: report_server", 0), 0u) << result.error;
    }
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(ReportServerScriptTest, RunEndsTheServerWhenItIsToldToEnd) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ChildProcess run = ChildProcess::exec({REPORT_SERVER_SCRIPT, "run", path});
        ASSERT_TRUE(eventually([&] { return fs::exists(path + "/port"); })) << run.standardError();
        const int pid = numberIn("pid");
        run.signal(signal);
        EXPECT_EQ(run.wait(), exitedWith(0)) << run.standardError();
        EXPECT_FALSE(isRunning(pid));
        EXPECT_FALSE(fs::exists(path + "/port"));
    }
}

TEST_F(ReportServerScriptTest, RunEndsInFailureWhenTheServerDies) {
    ChildProcess run = ChildProcess::exec({REPORT_SERVER_SCRIPT, "run", path});
    ASSERT_TRUE(eventually([&] { return fs::exists(path + "/port"); })) << run.standardError();
    kill(numberIn("pid"), SIGKILL);
    EXPECT_EQ(run.wait(), exitedWith(1));
    EXPECT_NE(run.standardError().find("lighttpd has ended"), std::string::npos);
}

TEST_F(ReportServerScriptTest, AKilledRunTakesTheServerWithIt) {
    ChildProcess run = ChildProcess::exec({REPORT_SERVER_SCRIPT, "run", path});
    ASSERT_TRUE(eventually([&] { return fs::exists(path + "/port"); })) << run.standardError();
    const int pid = numberIn("pid");
    run.signal(SIGKILL);
    run.wait();
    EXPECT_TRUE(eventually([&] { return !isRunning(pid); }));
}

TEST_F(ReportServerScriptTest, TheTestsOwnServerDiesWithAKilledTestProgram) {
    ChildProcess test = ChildProcess::fork([&] {
        ReportServer server(path);
        writeFile(dir / "ready", "");
        std::this_thread::sleep_for(std::chrono::seconds(60));
        return 0;
    });
    ASSERT_TRUE(eventually([&] { return fs::exists(dir / "ready"); }));
    const int pid = numberIn("pid");
    test.signal(SIGKILL);
    test.wait();
    EXPECT_TRUE(eventually([&] { return !isRunning(pid) && !fs::exists(path + "/port"); }));
}

}  // namespace

#include <gtest/gtest.h>

#include <vector>

#include "hcrpt/HCrashRptTransmit.h"
#include "support/FakeUploadTool.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;
using Words = std::vector<std::string>;

constexpr char kSuccess[] = "HTTP/1.1 200 OK";

class HCrashRptCurlMgrTest : public testing::Test {
  protected:
    HCrashRptCurlMgrTest() {
        platform.fakeAppRoot = tool.appRoot();
        server.setUrl("https://server.example/cgi-bin/crashreporter.cgi");
        server.setDomainName("veltra.example");
        server.setAccess("abcd1");
        writeFile(report, "{}");
    }

    std::string commandLine(const std::string& arguments) const {
        return tool.path() + " " + arguments + " > " + log + " 2>&1";
    }

    /// A client whose temporary directory is there already, so that its making is silent.
    ClientInfoCL makeClient() {
        platform.fakeTmpDir = directory.path();
        std::filesystem::create_directory(directory / "CrashReporter");
        return ClientInfoCL();
    }

    TempDir directory;
    ScopedFakePlatform platform;
    FakeUploadTool tool;
    ClientInfoCL client = makeClient();
    ServerInfoCL server;
    const std::string report = directory / "CrashReport_1.json";
    const std::string log = directory / "CrashReporter/curlOut.log";
};

// --- buildArgs ----------------------------------------------------------------------------

TEST_F(HCrashRptCurlMgrTest, ArgumentsLeaveOutWhatIsEmpty) {
    EXPECT_EQ(HCrashRptCurlMgr::buildArgs("/s/r.json", server, client),
              " --verbose -F file_loc=@\"/s/r.json\" -F domain=veltra.example -F access=abcd1 "
              "https://server.example/cgi-bin/crashreporter.cgi");
}

TEST_F(HCrashRptCurlMgrTest, ArgumentsHoldEveryPieceInOrder) {
    client.setProxy("proxy:8080");
    client.setCacert("/c/cacert.pem");
    client.setRegId("reg7");
    EXPECT_EQ(HCrashRptCurlMgr::buildArgs("/s/r.json", server, client),
              " --verbose --proxy proxy:8080 --cacert /c/cacert.pem -F file_loc=@\"/s/r.json\""
              " -F domain=veltra.example -F regid=reg7 -F access=abcd1 "
              "https://server.example/cgi-bin/crashreporter.cgi");
}

TEST_F(HCrashRptCurlMgrTest, ArgumentsWithNothingSetAreTheOptionAndTheBlankOfTheUrl) {
    EXPECT_EQ(HCrashRptCurlMgr::buildArgs("", ServerInfoCL(), client), " --verbose ");
}

TEST_F(HCrashRptCurlMgrTest, EachArgumentDependsOnItsOwnValueOnly) {
    const ServerInfoCL none;
    struct Case {
        const char* name;
        std::string arguments;
        std::string expected;
    };
    ClientInfoCL proxy, cacert, regId;
    proxy.setProxy("p");
    cacert.setCacert("c");
    regId.setRegId("r");
    ServerInfoCL domain, access, url;
    domain.setDomainName("d");
    access.setAccess("a");
    url.setUrl("u");
    const Case cases[] = {
        {"proxy", HCrashRptCurlMgr::buildArgs("", none, proxy), " --verbose --proxy p "},
        {"cacert", HCrashRptCurlMgr::buildArgs("", none, cacert), " --verbose --cacert c "},
        {"report", HCrashRptCurlMgr::buildArgs("f", none, client),
         " --verbose -F file_loc=@\"f\" "},
        {"domain", HCrashRptCurlMgr::buildArgs("", domain, client), " --verbose -F domain=d "},
        {"regid", HCrashRptCurlMgr::buildArgs("", none, regId), " --verbose -F regid=r "},
        {"access", HCrashRptCurlMgr::buildArgs("", access, client), " --verbose -F access=a "},
        {"url", HCrashRptCurlMgr::buildArgs("", url, client), " --verbose u"},
    };
    for (const Case& each : cases) EXPECT_EQ(each.arguments, each.expected) << each.name;
}

TEST_F(HCrashRptCurlMgrTest, NothingButTheReportIsQuotedOrEscaped) {
    client.setProxy("a b");
    server.setDomainName("$d");
    EXPECT_EQ(HCrashRptCurlMgr::buildArgs("a b", server, client),
              " --verbose --proxy a b -F file_loc=@\"a b\" -F domain=$d -F access=abcd1 "
              "https://server.example/cgi-bin/crashreporter.cgi");
}

// --- UploadUsingVelcurlApp ----------------------------------------------------------------

TEST_F(HCrashRptCurlMgrTest, UploadRunsTheToolWithExactlyThisCommandLine) {
    client.setCacert("/c/cacert.pem");
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    // Two blanks between the tool and its first option.
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + tool.path() +
                                        "  --verbose --cacert /c/cacert.pem -F file_loc=@\"" +
                                        report +
                                        "\" -F domain=veltra.example -F access=abcd1 "
                                        "https://server.example/cgi-bin/crashreporter.cgi > " +
                                        log +
                                        " 2>&1\n"
                                        "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
    ASSERT_EQ(tool.calls(), 1);
    EXPECT_EQ(tool.arguments(1),
              (std::vector<std::string>{"--verbose", "--cacert", "/c/cacert.pem", "-F",
                                        "file_loc=@" + report, "-F", "domain=veltra.example", "-F",
                                        "access=abcd1",
                                        "https://server.example/cgi-bin/crashreporter.cgi"}));
}

TEST_F(HCrashRptCurlMgrTest, UploadHttpsIsTheUploadThroughTheTool) {
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::uploadHttps(report, server, client));
    tool.answer("HTTP/1.1 500 Internal Server Error\n");
    EXPECT_FALSE(HCrashRptCurlMgr::uploadHttps(report, server, client));
    EXPECT_EQ(tool.calls(), 2);
}

TEST_F(HCrashRptCurlMgrTest, AReportPathWithBlanksStaysOneWord) {
    const std::string spaced = directory / "Crash Report  1.json";
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(spaced, server, client));
    EXPECT_EQ(tool.arguments(1).at(2), "file_loc=@" + spaced);
}

TEST_F(HCrashRptCurlMgrTest, AProxyWithBlanksIsSplitByTheShell) {
    client.setProxy("one two");
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    const auto arguments = tool.arguments(1);
    ASSERT_GE(arguments.size(), 4u);
    EXPECT_EQ(arguments[1], "--proxy");
    EXPECT_EQ(arguments[2], "one");
    EXPECT_EQ(arguments[3], "two");
}

TEST_F(HCrashRptCurlMgrTest, AnEmptyUrlStillAddsABlankBeforeTheRedirection) {
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + commandLine(" --verbose ") +
                                        "\n[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
    EXPECT_EQ(tool.arguments(1), std::vector<std::string>{"--verbose"});
}

TEST_F(HCrashRptCurlMgrTest, WhatTheToolPrintsAsErrorsIsJudgedToo) {
    tool.answer("accepted\n");
    tool.answerErrors("< HTTP/1.1 200 OK\n");
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
}

TEST_F(HCrashRptCurlMgrTest, AToolThatFailsIsAFailureWhateverItLogged) {
    tool.answer("HTTP/1.1 200 OK\n", 56);
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + commandLine(" --verbose ") +
                                        "\n[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
}

TEST_F(HCrashRptCurlMgrTest, AToolThatFailsHasItsLogEchoed) {
    tool.answer("* Trying 127.0.0.1\n", 7);
    tool.answerErrors("curl: (7) Failed to connect\n");
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + commandLine(" --verbose ") +
                                        "\n[Crash Reporter] CURL LOG: * Trying 127.0.0.1\n"
                                        "[Crash Reporter] CURL LOG: curl: (7) Failed to connect\n");
}

TEST_F(HCrashRptCurlMgrTest, OtherAnswersOfTheServerAreFailuresAndEchoed) {
    for (const std::string answer :
         {"HTTP/2 200", "HTTP/1.1 201 Created", "HTTP/1.0 200 OK", "http/1.1 200 ok",
          "HTTP/1.1 403 Forbidden", "HTTP/1.1 500 Internal Server Error"}) {
        tool.answer(answer + "\n");
        StdoutCapture output;
        EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client)) << answer;
        EXPECT_EQ(output.flushedText(),
                  "[Crash Reporter] Running cmd: " + commandLine(" --verbose ") +
                      "\n[Crash Reporter] CURL LOG: " + answer + "\n");
    }
}

TEST_F(HCrashRptCurlMgrTest, TheLogIsGoneAfterASuccess) {
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(HCrashRptCurlMgrTest, TheLogIsGoneAfterAFailure) {
    tool.answer("nothing good\n", 1);
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    EXPECT_FALSE(std::filesystem::exists(log));
}

TEST_F(HCrashRptCurlMgrTest, ALogThatCannotBeDeletedDoesNotChangeTheResult) {
    std::vector<std::string> removed;
    platform.onRm = [&](const std::string& path) {
        removed.push_back(path);
        return false;
    };
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    EXPECT_EQ(removed, std::vector<std::string>{log});
    EXPECT_TRUE(std::filesystem::exists(log));
    tool.answer("refused\n");
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client))
        << "the success of the upload before must not count";
}

TEST_F(HCrashRptCurlMgrTest, AMissingToolFailsSilentlyAndDeletesNothing) {
    std::filesystem::remove(tool.path());
    writeFile(log, "an older log\n");
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(test_support::readFile(log), "an older log\n");
}

TEST_F(HCrashRptCurlMgrTest, AToolThatMayNotBeExecutedCountsAsMissing) {
    std::filesystem::permissions(tool.path(), std::filesystem::perms::owner_read);
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp(report, server, client));
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(tool.calls(), 0);
}

TEST_F(HCrashRptCurlMgrTest, WithoutATemporaryDirectoryTheLogLiesInTheWorkingDirectory) {
    client.setTempDir("");
    const ScopedWorkingDirectory inside(directory.path());
    const auto before = test_support::namesIn(".");
    std::vector<std::string> removed;
    platform.onRm = [&](const std::string& path) {
        removed.push_back(path);
        EXPECT_EQ(test_support::readFile(directory / "curlOut.log"), "HTTP/1.1 200 OK\n");
        return std::filesystem::remove(path);
    };
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + tool.path() +
                                        "  --verbose  > .//curlOut.log 2>&1\n"
                                        "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
    EXPECT_EQ(removed, std::vector<std::string>{".//curlOut.log"});
    EXPECT_EQ(test_support::namesIn("."), before);
}

TEST_F(HCrashRptCurlMgrTest, ALogThatCannotBeMadeIsAFailureWithTheCommandLineOnly) {
    client.setTempDir(directory / "missing");
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::UploadUsingVelcurlApp("", ServerInfoCL(), client));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + tool.path() +
                                        "  --verbose  > " + (directory / "missing/curlOut.log") +
                                        " 2>&1\n");
    EXPECT_EQ(tool.calls(), 0);
}

// --- launchProcessSystem --------------------------------------------------------------------

TEST_F(HCrashRptCurlMgrTest, TheCommandIsAnnouncedBeforeItRuns) {
    writeFile(log, kSuccess);
    const std::string command = "echo from the command";
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::launchProcessSystem(command, log));
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Running cmd: echo from the command\n"
              "from the command\n"
              "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
}

TEST_F(HCrashRptCurlMgrTest, SuccessNeedsBothTheStatusAndTheLine) {
    StdoutCapture output;
    writeFile(log, kSuccess);
    EXPECT_TRUE(HCrashRptCurlMgr::launchProcessSystem("exit 0", log));
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcessSystem("exit 1", log));
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcessSystem("kill -9 $$", log));
    writeFile(log, "no such line");
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcessSystem("exit 0", log));
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcessSystem("exit 1", log));
}

TEST_F(HCrashRptCurlMgrTest, ACommandWithoutALogFailsWithTheCommandLineOnly) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcessSystem("exit 0", log));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: exit 0\n");
}

// --- launchProcess --------------------------------------------------------------------------

TEST_F(HCrashRptCurlMgrTest, LaunchProcessRunsTheCommandThroughTheShellAndWaits) {
    StdoutCapture output;
    const std::string command = "sleep 0.2; echo '" + std::string(kSuccess) + "' > " + log;
    EXPECT_TRUE(HCrashRptCurlMgr::launchProcess(command, log));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: " + command +
                                        "\n[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
}

TEST_F(HCrashRptCurlMgrTest, LaunchProcessAnnouncesTheCommandBeforeItRuns) {
    writeFile(log, kSuccess);
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::launchProcess("echo from the command", log));
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Running cmd: echo from the command\n"
              "from the command\n"
              "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
}

TEST_F(HCrashRptCurlMgrTest, LaunchProcessAsksForTheShellAndAllFourFlags) {
    writeFile(log, kSuccess);
    std::string command;
    std::vector<bool> flags;
    platform.onLaunch = [&](const std::string& line, bool shell, bool a, bool b, bool c, bool d) {
        command = line;
        flags = {shell, a, b, c, d};
        return 1;
    };
    StdoutCapture output;
    EXPECT_TRUE(HCrashRptCurlMgr::launchProcess("some command", log));
    EXPECT_EQ(command, "some command");
    EXPECT_EQ(flags, std::vector<bool>(5, true));
}

TEST_F(HCrashRptCurlMgrTest, LaunchProcessNeedsAPositiveResultButEchoesTheLogInAnyCase) {
    writeFile(log, kSuccess);
    for (const int result : {0, -1}) {
        platform.onLaunch = [&](const std::string&, bool, bool, bool, bool, bool) {
            return result;
        };
        StdoutCapture output;
        EXPECT_FALSE(HCrashRptCurlMgr::launchProcess("c", log)) << result;
        EXPECT_EQ(output.flushedText(),
                  "[Crash Reporter] Running cmd: c\n"
                  "[Crash Reporter] CURL LOG: HTTP/1.1 200 OK\n");
    }
}

TEST_F(HCrashRptCurlMgrTest, LaunchProcessNeedsTheSuccessLine) {
    platform.onLaunch = [](const std::string&, bool, bool, bool, bool, bool) { return 1; };
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::launchProcess("c", log));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Running cmd: c\n");
}

// --- isUploadSuccess ------------------------------------------------------------------------

TEST_F(HCrashRptCurlMgrTest, AMissingLogIsASilentFailure) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::isUploadSuccess(log));
    EXPECT_EQ(output.text(), "");
}

TEST_F(HCrashRptCurlMgrTest, ALogThatIsADirectoryIsASilentFailure) {
    StdoutCapture output;
    EXPECT_FALSE(HCrashRptCurlMgr::isUploadSuccess(directory.path()));
    EXPECT_EQ(output.text(), "");
}

TEST_F(HCrashRptCurlMgrTest, ALogIsEchoedUpToTheLineThatShowsSuccess) {
    struct Case {
        const char* title;
        const char* log;
        bool success;
        Words echoed;
    };
    const Case cases[] = {
        {"empty", "", false, {}},
        {"in the first line", "HTTP/1.1 200 OK\nsecond\nthird\n", true, {"HTTP/1.1 200 OK"}},
        {"anywhere in a line",
         "* Connected\n\n< HTTP/1.1 200 OK\r\n< Date: today\n",
         true,
         {"* Connected", "", "< HTTP/1.1 200 OK\r"}},
        {"a last line without line feed",
         "first\nHTTP/1.1 200 OK",
         true,
         {"first", "HTTP/1.1 200 OK"}},
        {"broken in two", "HTTP/1.1 200\n OK\n", false, {"HTTP/1.1 200", " OK"}},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.title);
        writeFile(log, each.log);
        StdoutCapture output;
        EXPECT_EQ(HCrashRptCurlMgr::isUploadSuccess(log), each.success);
        std::string echo;
        for (const std::string& line : each.echoed)
            echo += "[Crash Reporter] CURL LOG: " + line + "\n";
        EXPECT_EQ(output.flushedText(), echo);
    }
}

}  // namespace

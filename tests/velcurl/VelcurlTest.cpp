// The program itself, with a curl that records how it was called.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "support/ChildProcess.h"
#include "support/MissingSystemCall.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;
using Words = std::vector<std::string>;

constexpr char kTraceOf200[] = "> POST / HTTP/1.1\r\n> \r\n< HTTP/1.1 200 OK\r\n< \r\n";
/// Shell command that writes it.
constexpr char kAnswers200[] =
    "printf '> POST / HTTP/1.1\\r\\n> \\r\\n< HTTP/1.1 200 OK\\r\\n< \\r\\n' >&2";

class VelcurlTest : public testing::Test {
  protected:
    // Records its arguments and environment beside itself, then does what the test wants.
    void makeFakeCurl(const std::string& thenDo = kAnswers200) {
        writeFile(dir / "curl",
                  "#!/bin/sh\n"
                  "printf '%s\\0' \"$@\" > \"${0%/*}/arguments\"\n"
                  "env -0 > \"${0%/*}/environment\"\n" +
                      thenDo + "\n");
        chmod((dir / "curl").c_str(), 0755);
    }

    ChildProcess start(const Words& arguments,
                       std::map<std::string, std::string> environment = {}) {
        Words argv = {VELCURL_PROGRAM};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        ChildProcess::Options options;
        options.set = std::move(environment);
        options.set.emplace("VELCURL_CURL", dir / "curl");
        for (const char* name : {"VELCURL_CONNECT_TO", "VELCURL_MAX_TIME"})
            if (options.set.count(name) == 0) options.unset.push_back(name);
        return ChildProcess::exec(argv, options);
    }

    Words recorded(const std::string& name) const {
        const std::string text = readFile(dir / name);
        Words words;
        for (std::size_t at = 0; at < text.size(); at = text.find('\0', at) + 1)
            words.push_back(text.substr(at, text.find('\0', at) - at));
        return words;
    }

    bool curlGot(const std::string& entry) const {
        const Words environment = recorded("environment");
        return std::find(environment.begin(), environment.end(), entry) != environment.end();
    }

    TempDir dir;
};

TEST_F(VelcurlTest, CurlGetsOurOptionsThenTheCallers) {
    makeFakeCurl();
    EXPECT_EQ(start({"--verbose", "a b", "", "*", "https://host/"}).wait(), exitedWith(0));
    EXPECT_EQ(recorded("arguments"),
              (Words{"-q", "--http1.1", "--verbose", "--no-progress-meter", "--connect-timeout",
                     "10", "--max-time", "120", "--verbose", "a b", "", "*", "https://host/"}));
}

TEST_F(VelcurlTest, AnotherAddressComesFromTheEnvironment) {
    makeFakeCurl();
    EXPECT_EQ(start({"url"}, {{"VELCURL_CONNECT_TO", "host:443:127.0.0.1:8443"}}).wait(),
              exitedWith(0));
    EXPECT_EQ(recorded("arguments"),
              (Words{"-q", "--http1.1", "--verbose", "--no-progress-meter", "--connect-timeout",
                     "10", "--max-time", "120", "--connect-to", "host:443:127.0.0.1:8443",
                     "--noproxy", "*", "url"}));
}

TEST_F(VelcurlTest, AnEmptyOtherAddressIsNone) {
    makeFakeCurl();
    EXPECT_EQ(start({"url"}, {{"VELCURL_CONNECT_TO", ""}}).wait(), exitedWith(0));
    const Words arguments = recorded("arguments");
    EXPECT_EQ(std::count(arguments.begin(), arguments.end(), "--connect-to"), 0);
    EXPECT_EQ(std::count(arguments.begin(), arguments.end(), "--noproxy"), 0);
}

TEST_F(VelcurlTest, TheReportsPathArrivesThroughAShellAsTheLibraryWritesIt) {
    makeFakeCurl();
    const std::string report = dir / "Crash Report;a,b.json";
    writeFile(report, "x");
    ChildProcess::Options options;
    options.set = {{"VELCURL_CURL", dir / "curl"}};
    ChildProcess shell = ChildProcess::exec(
        {"sh", "-c",
         std::string(VELCURL_PROGRAM) + "  --verbose -F file_loc=@\"" + report + "\" url"},
        options);
    EXPECT_EQ(shell.wait(), exitedWith(0));
    const Words arguments = recorded("arguments");
    ASSERT_GE(arguments.size(), 3u);
    EXPECT_EQ(Words(arguments.end() - 3, arguments.end()),
              (Words{"-F", "file_loc=@\"" + report + "\"", "url"}));
}

TEST_F(VelcurlTest, CurlIsFreeOfTheHostApplicationsLibrariesAndKeepsTheRest) {
    makeFakeCurl();
    EXPECT_EQ(start({"url"}, {{"LD_PRELOAD", ""},
                              {"LD_AUDIT", ""},
                              {"LD_LIBRARY_PATH", dir / "lib"},
                              {"SSLKEYLOGFILE", dir / "keys"},
                              {"CURL_HOME", dir.path()},
                              {"https_proxy", "http://proxy:1"},
                              {"KEPT", "a=b c"}})
                  .wait(),
              exitedWith(0));
    for (const std::string& entry : recorded("environment")) {
        EXPECT_NE(entry.rfind("LD_", 0), 0u) << entry;
        EXPECT_NE(entry.rfind("SSLKEYLOGFILE=", 0), 0u) << entry;
        EXPECT_NE(entry.rfind("CURL_HOME=", 0), 0u) << entry;
    }
    EXPECT_TRUE(curlGot("https_proxy=http://proxy:1"));
    EXPECT_TRUE(curlGot("KEPT=a=b c"));
}

#ifndef HCRPT_SANITIZE  // a sanitized program is a dynamic one
TEST_F(VelcurlTest, UnusableLibrariesOfAHostApplicationDoNotKeepItFromStarting) {
    makeFakeCurl();
    for (const char* name : {"libc.so.6", "libstdc++.so.6", "libgcc_s.so.1", "libm.so.6"})
        writeFile(dir / name, "not a library");
    ChildProcess child = start(
        {"url"}, {{"LD_LIBRARY_PATH", dir.path()}, {"LD_PRELOAD", dir / "no-such-library.so"}});
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardError(), kTraceOf200);
}
#endif

// A failure has its verdict before what curl put out, and curl's status; an answer that is no
// acceptance ends with 22 even if curl is content.
TEST_F(VelcurlTest, CurlsOutputsFollowTheVerdictOfAFailure) {
    const struct {
        std::string curl;
        int status;
        std::string output, errors;
    } cases[] = {
        {std::string(kAnswers200) + "; echo answer", 0, "answer\n", kTraceOf200},
        {"echo answer; echo 'curl: (52) Empty reply from server' >&2; exit 52", 52, "answer\n",
         "velcurl: no answer from host: curl 52 (Empty reply from server); the server closed the "
         "connection: see its log\n"
         "curl: (52) Empty reply from server\n"},
        {"printf '< HTTP/1.1 201 Created\\r\\n< \\r\\n' >&2; echo 'HTTP/1.1 200 OK'", 22,
         "HTTP/1.1 200 OK\n",
         "velcurl: not accepted: HTTP status 201 (Created) from host: \"HTTP 1.1 200 OK\"; only "
         "status 200 says that a report is stored\n"
         "< HTTP/1.1 201 Created\r\n< \r\n"},
    };
    for (const auto& each : cases) {
        makeFakeCurl(each.curl);
        ChildProcess child = start({"https://host/"});
        EXPECT_EQ(child.wait(), exitedWith(each.status));
        EXPECT_EQ(child.standardOutput(), each.output);
        EXPECT_EQ(child.standardError(), each.errors);
    }
}

TEST_F(VelcurlTest, InOneLogTheVerdictIsTheFirstLine) {
    makeFakeCurl("echo answer; printf '< HTTP/1.1 200 OK\\r\\n< \\r\\n' >&2; exit 18");
    ChildProcess::Options options;
    options.set = {{"VELCURL_CURL", dir / "curl"}};
    ChildProcess shell = ChildProcess::exec(
        {"sh", "-c", VELCURL_PROGRAM " https://host/ > " + (dir / "log") + " 2>&1"}, options);
    EXPECT_EQ(shell.wait(), exitedWith(18));
    EXPECT_EQ(readFile(dir / "log"),
              "velcurl: not accepted: HTTP status 200 (OK) from host, not to its end: curl 18; the "
              "connection was cut: check server, proxies and network\n"
              "< HTTP/1.1 200 OK\r\n< \r\nanswer\n");
}

TEST_F(VelcurlTest, ACurlKilledByASignalIsSeenAsKilledAndWhatItSaidIsThere) {
    makeFakeCurl("echo trace >&2; echo answer; kill -TERM $$");
    ChildProcess child = start({"https://host/"});
    EXPECT_EQ(child.wait(), killedBy(SIGTERM));
    EXPECT_EQ(child.standardOutput(), "answer\n");
    EXPECT_EQ(child.standardError(),
              "velcurl: not finished: curl was ended by signal 15 (Terminated)\ntrace\n");
}

TEST_F(VelcurlTest, ASignalThatEndsItEndsCurlAndIsSaid) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        makeFakeCurl("echo $$ > '" + (dir / "pid.new") + "'; mv '" + (dir / "pid.new") + "' '" +
                     (dir / "pid") + "'; exec sleep 60");
        ChildProcess child = start({"https://host/"});
        ASSERT_TRUE(eventually([&] { return std::filesystem::exists(dir / "pid"); }));
        const auto curl = static_cast<pid_t>(std::stol(readFile(dir / "pid")));
        child.signal(number);
        EXPECT_EQ(child.wait(), killedBy(number));
        EXPECT_FALSE(isRunning(curl));
        EXPECT_EQ(child.standardError(), "velcurl: not finished: curl was ended by signal " +
                                             std::to_string(number) + " (" + strsignal(number) +
                                             ")\n");
        std::filesystem::remove(dir / "pid");
    }
}

TEST_F(VelcurlTest, CurlDoesNotOutliveAVelcurlThatIsKilled) {
    makeFakeCurl("echo $$ > '" + (dir / "pid.new") + "'; mv '" + (dir / "pid.new") + "' '" +
                 (dir / "pid") + "'; exec sleep 60");
    ChildProcess child = start({"https://host/"});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(dir / "pid"); }));
    const auto curl = static_cast<pid_t>(std::stol(readFile(dir / "pid")));
    child.signal(SIGKILL);
    EXPECT_EQ(child.wait(), killedBy(SIGKILL));
    const bool hasEnded = eventually([&] { return !isRunning(curl); });
    EXPECT_TRUE(hasEnded);
    if (!hasEnded) kill(curl, SIGKILL);
}

TEST_F(VelcurlTest, ACurlThatWritesWithoutEndIsEnded) {
    makeFakeCurl(
        "printf '< HTTP/1.1 200 OK\\r\\n< \\r\\n' >&2; trap '' PIPE; yes 2>/dev/null; exec sleep "
        "60");
    ChildProcess child = start({"https://host/"});
    EXPECT_EQ(child.wait(), exitedWith(63));
    EXPECT_EQ(
        child.standardError().substr(0, child.standardError().find('\n')),
        "velcurl: not accepted: HTTP status 200 (OK) from host, not to its end: more than 256 "
        "KiB came, curl was ended; no report server answers so");
    EXPECT_GT(child.standardOutput().size(), 250U * 1024);
    EXPECT_LE(child.standardOutput().size(), 272U * 1024);
}

TEST_F(VelcurlTest, ATraceWithoutEndIsEnded) {
    makeFakeCurl("exec yes >&2");
    ChildProcess child = start({"https://host/"});
    EXPECT_EQ(child.wait(), exitedWith(63));
    EXPECT_EQ(child.standardError().substr(0, child.standardError().find('\n')),
              "velcurl: no answer from host: more than 256 KiB came, curl was ended");
    EXPECT_LE(child.standardError().size(), 273U * 1024);
}

TEST_F(VelcurlTest, AnAnswerOfAFewHundredKilobytesArrivesWhole) {
    makeFakeCurl(std::string(kAnswers200) + "; head -c 260000 /dev/zero");
    ChildProcess child = start({"https://host/"});
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(child.standardOutput() == std::string(260000, '\0'));
}

TEST_F(VelcurlTest, WhatCurlLeavesRunningIsNotWaitedFor) {
    makeFakeCurl(std::string(kAnswers200) + "; sleep 60 & echo $! > '" + (dir / "pid") + "'");
    ChildProcess child = start({"https://host/"});
    EXPECT_EQ(child.wait(), exitedWith(0));
    const auto left = static_cast<pid_t>(std::stol(readFile(dir / "pid")));
    EXPECT_TRUE(isRunning(left));
    kill(left, SIGKILL);
}

TEST_F(VelcurlTest, WithoutStandardDescriptorsTheVerdictStillStands) {
    makeFakeCurl(kAnswers200);
    ChildProcess::Options options;
    options.set = {{"VELCURL_CURL", dir / "curl"}};
    ChildProcess shell =
        ChildProcess::exec({"sh", "-c", VELCURL_PROGRAM " https://host/ 0<&- 1>&- 2>&-"}, options);
    EXPECT_EQ(shell.wait(), exitedWith(0));
    makeFakeCurl("exit 7");
    ChildProcess other =
        ChildProcess::exec({"sh", "-c", VELCURL_PROGRAM " https://host/ 0<&- 1>&- 2>&-"}, options);
    EXPECT_EQ(other.wait(), exitedWith(7));
}

TEST_F(VelcurlTest, CurlGetsNoDescriptorOfItsOwn) {
    makeFakeCurl(std::string("ls /proc/self/fd > \"${0%/*}/descriptors\"; ") + kAnswers200);
    EXPECT_EQ(ChildProcess::exec({dir / "curl"}).wait(), exitedWith(0));
    const std::string alone = readFile(dir / "descriptors");
    EXPECT_EQ(start({"https://host/"}).wait(), exitedWith(0));
    EXPECT_EQ(readFile(dir / "descriptors"), alone);
}

TEST_F(VelcurlTest, WithoutFreeDescriptorsItSaysThatCurlCannotBeRun) {
    makeFakeCurl();
    ChildProcess::Options options;
    options.set = {{"VELCURL_CURL", dir / "curl"}};
    ChildProcess shell = ChildProcess::exec(
        {"sh", "-c", "ulimit -n 5; exec " VELCURL_PROGRAM " https://host/"}, options);
    EXPECT_EQ(shell.wait(), exitedWith(126));
    EXPECT_EQ(shell.standardError(),
              "velcurl: cannot run " + (dir / "curl") + ": Too many open files\n");
    EXPECT_FALSE(std::filesystem::exists(dir / "arguments")) << "curl was run";
}

TEST_F(VelcurlTest, WithoutAFurtherProcessItSaysThatCurlCannotBeRun) {
    makeFakeCurl();
    ChildProcess child = ChildProcess::fork([this] {
        setenv("VELCURL_CURL", (dir / "curl").c_str(), 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // whose search needs a thread
        if (!test_support::takeAwaySystemCall(SYS_clone)) return 1;
        execl(VELCURL_PROGRAM, VELCURL_PROGRAM, "https://host/", nullptr);
        return 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(126));
    EXPECT_EQ(child.standardError(),
              "velcurl: cannot run " + (dir / "curl") + ": Function not implemented\n");
}

TEST_F(VelcurlTest, AnIgnoredEndOfChildrenDoesNotTakeTheStatusAway) {
    makeFakeCurl("exit 7");
    ChildProcess::Options options;
    options.set = {{"VELCURL_CURL", dir / "curl"}};
    ChildProcess shell = ChildProcess::exec(
        {"bash", "-c", "trap '' CHLD; exec " VELCURL_PROGRAM " https://host/"}, options);
    EXPECT_EQ(shell.wait(), exitedWith(7));
}

TEST_F(VelcurlTest, TheBoundOfAnUploadIsShortenedByTheEnvironment) {
    makeFakeCurl();
    EXPECT_EQ(start({"url"}, {{"VELCURL_MAX_TIME", "3"}}).wait(), exitedWith(0));
    const Words arguments = recorded("arguments");
    EXPECT_EQ(Words(arguments.end() - 3, arguments.end()), (Words{"--max-time", "3", "url"}));
}

TEST_F(VelcurlTest, AMissingCurlIsSaidAndEndsWith127) {
    ChildProcess child = start({"url"});
    EXPECT_EQ(child.wait(), exitedWith(127));
    EXPECT_EQ(child.standardError(),
              "velcurl: no curl to run: " + (dir / "curl") + " is not an executable file\n");
    EXPECT_EQ(child.standardOutput(), "");
}

TEST_F(VelcurlTest, ACurlThatCannotBeRunIsSaidAndEndsWith126) {
    writeFile(dir / "curl", "#!/no/such/interpreter\n");
    chmod((dir / "curl").c_str(), 0755);
    ChildProcess child = start({"url"});
    EXPECT_EQ(child.wait(), exitedWith(126));
    EXPECT_EQ(child.standardError(),
              "velcurl: cannot run " + (dir / "curl") + ": No such file or directory\n");
}

TEST_F(VelcurlTest, WithoutArgumentsItSaysHowItIsUsed) {
    makeFakeCurl();
    ChildProcess child = start({});
    EXPECT_EQ(child.wait(), exitedWith(2));
    EXPECT_EQ(child.standardError(), "velcurl: usage: velcurl <curl option>... <URL>\n");
    EXPECT_EQ(test_support::namesIn(dir.path()), Words{"curl"}) << "curl was run";
}

TEST_F(VelcurlTest, TheSystemsCurlIsFoundWithoutAPath) {
    ChildProcess child = start({"--version"}, {{"VELCURL_CURL", ""}, {"PATH", dir.path()}});
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput().substr(0, 5), "curl ");
}

TEST_F(VelcurlTest, TheUsersCurlrcIsNotRead) {
    writeFile(dir / ".curlrc", "output = \"" + (dir / "written") + "\"\n");
    writeFile(dir / "page", "content");
    ChildProcess child =
        start({"file://" + (dir / "page")}, {{"VELCURL_CURL", ""}, {"HOME", dir.path()}});
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "content");
    EXPECT_EQ(test_support::namesIn(dir.path()), (Words{".curlrc", "page"}));
}

}  // namespace

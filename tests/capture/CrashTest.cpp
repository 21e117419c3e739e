// Real deaths of a real program with the installed shared library.
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <regex>
#include <string>
#include <vector>

#include "capture/CrashHost.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

using namespace test_support;

namespace {

constexpr int kStillAlive = 3;  // crash_host's exit code when it did not die

std::string headerOf(int signal) {
    return "#\n# An unexpected error has occurred (" + std::to_string(signal) + ")\n#\nStack:\n";
}

std::string announcement(int signal, pid_t pid) {
    return "Error: Abnormal program termination (" + std::to_string(signal) + ") of process id " +
           std::to_string(pid) + ". ";
}

rapidjson::Document parsed(const std::string& path) {
    rapidjson::Document document;
    document.Parse(readFile(path).c_str());
    EXPECT_FALSE(document.HasParseError()) << path;
    return document;
}

/// All that a death leaves behind: messages, raw trace, its copy, the stack-trace log, the report.
void expectWholeRecord(const CrashHost& host, const ChildProcess& child, int signal) {
    const pid_t pid = child.pid();
    const std::string id = std::to_string(pid);
    EXPECT_EQ(announcement(signal, pid) + "Please check this file for stacktrace: " + host.work() +
                  "/hs_err_pid" + id + ".log\n",
              child.standardOutput());

    const std::string trace = readFile(host.rawTrace(pid));
    EXPECT_EQ(0U, trace.find(headerOf(signal))) << trace;
    EXPECT_EQ(std::string::npos, trace.find("partial")) << trace;
    EXPECT_LT(trace.find("libzeb_HCrashReporter.so("), trace.find("crash_host("))
        << "the crash handler's own frames come first\n"
        << trace;
    EXPECT_TRUE(std::regex_search(trace, std::regex("\\]\n\n$"))) << trace;
    EXPECT_EQ(trace, readFile(host.store() + "/hs_mangled_err_pid" + id + ".log"));
    EXPECT_EQ(trace, readFile(host.work() + "/hs_err_pid" + id + ".log"));
    EXPECT_EQ(
        (std::vector<std::string>{"hs_err_pid" + id + ".log", "hs_mangled_err_pid" + id + ".log"}),
        namesIn(host.work()))
        << "a core dump or a half-written file";

    ASSERT_NE("", host.report());
    EXPECT_NE(std::string::npos, host.report().find("/CrashReport_" + id + "_"));
    const rapidjson::Document report = parsed(host.report());
    ASSERT_TRUE(report.IsObject());
    EXPECT_TRUE(report.HasMember("memInfo"));
    ASSERT_TRUE(report.HasMember("signalNumber"));
    EXPECT_EQ(std::to_string(signal), report["signalNumber"].GetString());
    ASSERT_TRUE(report.HasMember("stacktrace"));
    EXPECT_TRUE(report["stacktrace"].IsArray());
}

// --- The ways to die ----------------------------------------------------------------------------

struct Death {
    const char* way;
    int signal;
    const char* frame;  // a function that the trace must name
};

void PrintTo(const Death& death, std::ostream* out) {
    *out << death.way;
}

class DeathTest : public testing::TestWithParam<Death> {};

TEST_P(DeathTest, LeavesTheWholeRecordAndEndsWith128PlusTheSignal) {
    const CrashHost host;
    ChildProcess child = host.start({GetParam().way});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(128 + GetParam().signal), child.wait());
    expectWholeRecord(host, child, GetParam().signal);
    const std::string trace = readFile(host.rawTrace(child.pid()));
    EXPECT_NE(std::string::npos, trace.find(GetParam().frame)) << trace;
}

INSTANTIATE_TEST_SUITE_P(Table, DeathTest,
                         testing::Values(Death{"null-write", SIGSEGV, "(main+"},
                                         Death{"illegal-instruction", SIGILL, "(main+"},
                                         Death{"division-by-zero", SIGFPE, "(main+"},
                                         Death{"beyond-file", SIGBUS, "(main+"},
                                         Death{"abort", SIGABRT, "(main+"},
                                         Death{"quit", SIGQUIT, "(main+"},
                                         Death{"uncaught-exception", SIGABRT, "(main+"},
                                         Death{"recursion", SIGSEGV, "crash_host(+0x"},
                                         Death{"deep", SIGSEGV, "7atDepth"},
                                         Death{"static-destruction", SIGSEGV, "(_start+"}),
                         [](const auto& row) {
                             std::string name = row.param.way;
                             for (char& c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

TEST(CrashTest, AFullStackLeavesTheWholeDepthOfATrace) {
    const CrashHost host;
    ChildProcess child = host.start({"recursion"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(139), child.wait());
    const std::string frames =
        readFile(host.rawTrace(child.pid())).substr(headerOf(SIGSEGV).size());
    EXPECT_EQ(199 + 1, std::count(frames.begin(), frames.end(), '\n'));
}

TEST(CrashTest, WithoutACrashNothingIsLeft) {
    const CrashHost host;
    ChildProcess child = host.start({"none"});
    EXPECT_EQ(exitedWith(kStillAlive), child.wait());
    EXPECT_EQ("", child.standardOutput());
    EXPECT_EQ(std::vector<std::string>(), namesIn(host.work()));
    EXPECT_FALSE(std::filesystem::exists(host.store()));
}

TEST(CrashTest, ACrashReporterSurvivesAnInterrupt) {
    const CrashHost host;
    ChildProcess child = host.start({"interrupt", "self"});
    EXPECT_EQ(exitedWith(kStillAlive), child.wait());
}

TEST(CrashTest, AHostDiesOfAnInterruptAsBefore) {
    const CrashHost host;
    ChildProcess child = host.start({"interrupt"});
    EXPECT_EQ(test_support::killedBy(SIGINT), child.wait());
}

TEST(CrashTest, ACrashOfTheCrashReporterIsReportedLikeAHosts) {
    const CrashHost host;
    ChildProcess child = host.start({"null-write", "self"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(139), child.wait());
    expectWholeRecord(host, child, SIGSEGV);
}

TEST(CrashTest, AProcessWithClosedStandardOutputLeavesItsRecord) {
    CrashHost host;
    host.options.closeStdout = true;
    ChildProcess child = host.start({"null-write"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(139), child.wait());
    const std::string trace = readFile(host.rawTrace(child.pid()));
    EXPECT_EQ(0U, trace.find(headerOf(SIGSEGV)));
    EXPECT_EQ(std::string::npos, trace.find("Abnormal")) << "a message went into the trace";
    EXPECT_NE("", host.report());
}

TEST(CrashTest, ADeathLeavesNoChildProcess) {
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));  // orphans would become this process's
    const CrashHost host;
    ChildProcess child = host.start({"null-write"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(139), child.wait());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

// --- Damage that reaches into the crash handler
// -------------------------------------------------------

TEST(CrashTest, AFaultWhileWalkingADamagedStackLeavesTheFramesBeforeIt) {
    const CrashHost host;
    ChildProcess child = host.start({"smashed-stack"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(139), child.wait());
    const std::string trace = readFile(host.rawTrace(child.pid()));
    const std::string start = headerOf(SIGSEGV) +
                              "Following is a partial stack trace, only, likely due to stack "
                              "corruption\n";
    EXPECT_EQ(0U, trace.find(start)) << trace;
    EXPECT_NE(std::string::npos, trace.find("crash_host(")) << trace;
    EXPECT_EQ(std::string::npos, trace.find("(main+")) << "it could be walked after all\n" << trace;
    EXPECT_EQ("]\n\n", trace.substr(trace.size() - 3)) << "the crash handler went on";
#ifndef HCRPT_SANITIZE  // whose allocator walks the damaged stack for each block of the report
    EXPECT_NE("", host.report());
#endif
}

#ifndef HCRPT_SANITIZE  // a sanitizer's heap is another one
TEST(CrashTest, ADamagedHeapDoesNotKeepTheRawTraceFromBeingWritten) {
    const CrashHost host;
    ChildProcess child = host.start({"corrupt-heap"});
    host.answerUntilTheEnd(child);
    EXPECT_EQ(exitedWith(134), child.wait());
    const std::string trace = readFile(host.rawTrace(child.pid()));
    EXPECT_EQ(0U, trace.find(headerOf(SIGABRT))) << trace;
    EXPECT_NE(std::string::npos, trace.find("(main+")) << trace;
    EXPECT_EQ("]\n\n", trace.substr(trace.size() - 3));
}
#endif

// --- After a fork -------------------------------------------------------------------------------

/// Waits for the only child that this process has left; kills it when it does not end.
test_support::ExitState waitForOrphan(pid_t& pid) {
    int status = 0;
    pid = 0;
    if (!eventually([&] { return (pid = waitpid(-1, &status, WNOHANG)) != 0; })) {
        std::ifstream("/proc/self/task/" + std::to_string(getpid()) + "/children") >> pid;
        if (pid > 0) kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        return {};
    }
    if (pid < 0) return {};
    return WIFEXITED(status) ? exitedWith(WEXITSTATUS(status))
                             : test_support::killedBy(WTERMSIG(status));
}

TEST(CrashTest, AForkedChildWritesUnderItsParentsId) {
    ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
    const CrashHost host;
    ChildProcess parent = host.start({"after-fork"});
    EXPECT_EQ(exitedWith(0), parent.wait());
    const pid_t parentPid = parent.pid();
    EXPECT_TRUE(host.answer(parentPid));
    pid_t pid = 0;
    EXPECT_EQ(exitedWith(139), waitForOrphan(pid));

    const std::string id = std::to_string(parentPid);
    EXPECT_EQ(0U, readFile(host.rawTrace(parentPid)).find(headerOf(SIGSEGV)));
    EXPECT_EQ(
        (std::vector<std::string>{"hs_err_pid" + id + ".log", "hs_mangled_err_pid" + id + ".log"}),
        namesIn(host.work()));
    // What is asked afresh tells the child's own id.
    EXPECT_EQ("parent " + id + "\n" + announcement(SIGSEGV, pid) +
                  "Please check this file for stacktrace: " + host.work() + "/hs_err_pid" + id +
                  ".log\n",
              parent.standardOutput());
    EXPECT_NE(std::string::npos, host.report().find("/CrashReport_" + std::to_string(pid) + "_"));
}

// --- Failures on the way ------------------------------------------------------------------------

const std::string kRawTraceCannotBeMade = "mkdir \"hs_mangled_err_pid$$.log\"";

TEST(CrashTest, WithoutARawTraceFileTheReportHoldsTheFacts) {
    const CrashHost host;
    ChildProcess child = host.start({"null-write"}, kRawTraceCannotBeMade);
    EXPECT_EQ(exitedWith(139), child.wait());
    EXPECT_EQ(announcement(SIGSEGV, child.pid()) +
                  "Unable to write a stacktrace file, probably because current directory is not "
                  "writable.\n",
              child.standardOutput());
    const rapidjson::Document report = parsed(host.report());
    ASSERT_TRUE(report.IsObject());
    EXPECT_TRUE(report.HasMember("timestamp"));
    EXPECT_FALSE(report.HasMember("stacktrace"));
}

TEST(CrashTest, WithoutACrashStoreTheRawTraceStays) {
    CrashHost host;
    host.options.set["ZEB_SESSION_INFO"] = "/dev/null:session";
    ChildProcess child = host.start({"null-write"});
    EXPECT_EQ(exitedWith(139), child.wait());
    const std::string noStore =
        "[Crash Reporter] Error: Could not create crash store at: "
        "/dev/null/.crashReporter/session/crashStore Please check folder path exists or has write "
        "permission.\n";
    EXPECT_EQ(
        announcement(SIGSEGV, child.pid()) + noStore +
            "Please check this file for stacktrace: " + host.rawTrace(child.pid()) +
            "\n[Crash Reporter] Could not copy hs_mangled_err_pid<pid>.log in the crash store "
            "in absence of a crashStore\n" +
            noStore +
            "[Crash Reporter] Could not create crash log in the absence of a crashStore\n",
        child.standardOutput());
    EXPECT_EQ(0U, readFile(host.rawTrace(child.pid())).find(headerOf(SIGSEGV)));
}

}  // namespace

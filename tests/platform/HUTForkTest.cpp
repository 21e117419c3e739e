#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "HUTFork.h"
#include "support/ChildProcess.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFault.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

int launchInShell(const std::string& line) {
    HUTFork fork;
    fork.setCmdLine(line, true);
    return fork.launch(true, true, true, true);
}

// Standard input from a file for the time of a scope.
class ScopedStdin {
  public:
    explicit ScopedStdin(const std::string& path) : m_before(dup(STDIN_FILENO)) {
        const int file = open(path.c_str(), O_RDONLY);
        dup2(file, STDIN_FILENO);
        close(file);
    }
    ~ScopedStdin() {
        dup2(m_before, STDIN_FILENO);
        close(m_before);
    }

  private:
    int m_before;
};

class ScopedChildSignal {
  public:
    explicit ScopedChildSignal(const struct sigaction& action) {
        sigaction(SIGCHLD, &action, &m_before);
    }
    ~ScopedChildSignal() { sigaction(SIGCHLD, &m_before, nullptr); }

  private:
    struct sigaction m_before = {};
};

TEST(HUTForkTest, AllFlagsTrueRunTheLineThroughTheShellAndWaitForIt) {
    const TempDir dir;
    const int pid = launchInShell("echo one > '" + (dir / "f") + "'; echo $$ >> " + (dir / "f"));
    EXPECT_GT(pid, 0);
    EXPECT_EQ(readFile(dir / "f"), "one\n" + std::to_string(pid) + "\n");
}

TEST(HUTForkTest, AnEndOtherThanWithStatusZeroIsNotPositive) {
    EXPECT_LE(launchInShell("exit 3"), 0);
    EXPECT_LE(launchInShell("kill -KILL $$"), 0);
    EXPECT_LE(launchInShell("/no/such/program 2>/dev/null"), 0);
}

TEST(HUTForkTest, ASignalDoesNotEndTheWaiting) {
    const ScopedFault interrupted(seams::onWaitpid, EINTR, 2);
    EXPECT_GT(launchInShell("exit 0"), 0);
    EXPECT_EQ(interrupted.met(), 2);
}

TEST(HUTForkTest, NoChildIsLeftOverAfterWaiting) {
    launchInShell("exit 0");
    launchInShell("exit 1");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(HUTForkTest, ALineThatBeginsWithAMinusSignIsACommand) {
    const TempDir dir;
    writeFile(dir / "-tool", "#!/bin/sh\nexit 0\n");
    ASSERT_EQ(chmod((dir / "-tool").c_str(), 0700), 0);
    const ScopedEnvVar path("PATH", dir.path());
    EXPECT_GT(launchInShell("-tool"), 0);
}

TEST(HUTForkTest, ALineCanBeLaunchedAgainAndReplaced) {
    const TempDir dir;
    HUTFork fork;
    fork.setCmdLine("echo x >> " + (dir / "f"), true);
    EXPECT_GT(fork.launch(true, true, true, true), 0);
    EXPECT_GT(fork.launch(true, true, true, true), 0);
    EXPECT_EQ(readFile(dir / "f"), "x\nx\n");
    fork.setCmdLine("exit 1", true);
    EXPECT_LE(fork.launch(true, true, true, true), 0);
}

TEST(HUTForkTest, WithoutWaitingTheChildRunsOn) {
    const TempDir dir;
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    HUTFork fork;
    fork.setCmdLine("read line < '" + (dir / "fifo") + "'; exit 7", true);
    const int pid = fork.launch(false, true, true, true);
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(test_support::isRunning(pid));
    std::ofstream(dir / "fifo") << "go\n";
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(HUTForkTest, WithoutAShellTheLineIsSplitAtBlanksOnly) {
    const StdoutCapture capture;
    HUTFork fork;
    fork.setCmdLine("echo  a   '$HOME' ;", false);
    EXPECT_GT(fork.launch(true, true, true, true), 0);
    EXPECT_EQ(capture.flushedText(), "a '$HOME' ;\n");
}

TEST(HUTForkTest, AProgramThatCannotBeStartedIsNegative) {
    HUTFork fork;
    for (const char* line : {"/no/such/program", "", "   "}) {
        fork.setCmdLine(line, false);
        EXPECT_LT(fork.launch(true, true, true, true), 0) << line;
        EXPECT_LT(fork.launch(false, true, true, true), 0) << line;
    }
}

TEST(HUTForkTest, OutputIsThisProcessesOrNone) {
    const StdoutCapture capture;
    HUTFork fork;
    fork.setCmdLine("echo out", true);
    EXPECT_GT(fork.launch(true, false, true, true), 0);
    EXPECT_EQ(capture.flushedText(), "");
    EXPECT_GT(fork.launch(true, true, true, true), 0);
    EXPECT_EQ(capture.flushedText(), "out\n");
}

TEST(HUTForkTest, ErrorOutputIsThisProcessesOrNone) {
    auto child = test_support::ChildProcess::fork([] {
        HUTFork fork;
        fork.setCmdLine("echo silent >&2", true);
        fork.launch(true, false, true, true);
        fork.setCmdLine("echo loud >&2", true);
        fork.launch(true, true, true, true);
        return 0;
    });
    child.wait();
    EXPECT_EQ(child.standardError(), "loud\n");
}

TEST(HUTForkTest, InputIsThisProcessesOrNone) {
    const TempDir dir;
    writeFile(dir / "input", "given\n");
    const ScopedStdin input(dir / "input");
    HUTFork fork;
    fork.setCmdLine("read line && test \"$line\" = given", true);
    EXPECT_LE(fork.launch(true, true, false, true), 0);
    EXPECT_GT(fork.launch(true, true, true, true), 0);
}

TEST(HUTForkTest, TheEnvironmentIsThisProcessesOrEmpty) {
    const ScopedEnvVar variable("HUT_FORK_TEST", "given");
    HUTFork fork;
    fork.setCmdLine("test \"$HUT_FORK_TEST\" = given", true);
    EXPECT_GT(fork.launch(true, true, true, true), 0);
    EXPECT_LE(fork.launch(true, true, true, false), 0);
}

TEST(HUTForkTest, AnIgnoredSigchldDoesNotMakeALaunchLookFailed) {
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    const ScopedChildSignal scope(ignored);
    EXPECT_GT(launchInShell("exit 0"), 0);
    EXPECT_LE(launchInShell("exit 1"), 0);
    struct sigaction after = {};
    sigaction(SIGCHLD, nullptr, &after);
    EXPECT_EQ(after.sa_handler, SIG_IGN);
}

TEST(HUTForkTest, DiscardedChildStatesDoNotMakeALaunchLookFailed) {
    struct sigaction discarding = {};
    discarding.sa_handler = [](int) {};
    discarding.sa_flags = SA_NOCLDWAIT;
    const ScopedChildSignal scope(discarding);
    EXPECT_GT(launchInShell("exit 0"), 0);
    struct sigaction after = {};
    sigaction(SIGCHLD, nullptr, &after);
    EXPECT_EQ(after.sa_handler, discarding.sa_handler);
    EXPECT_NE(after.sa_flags & SA_NOCLDWAIT, 0);
}

TEST(HUTForkTest, TheChildDoesNotIgnoreSigchld) {
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    const ScopedChildSignal scope(ignored);
    const TempDir dir;
    HUTFork fork;
    fork.setCmdLine("cp /proc/self/status " + (dir / "status"), false);
    const int pid = fork.launch(false, true, true, true);
    ASSERT_GT(pid, 0);
    waitpid(pid, nullptr, 0);  // until it has ended; its state is thrown away here
    const std::string status = readFile(dir / "status");
    const std::size_t at = status.find("SigIgn:\t");
    ASSERT_NE(at, std::string::npos);
    const unsigned long mask = std::stoul(status.substr(at + 8, 16), nullptr, 16);
    EXPECT_EQ(mask & (1ul << (SIGCHLD - 1)), 0u);
}

}  // namespace

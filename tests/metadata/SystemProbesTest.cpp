#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>

#include "SystemSpy.h"
#include "TreeText.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;
using namespace test_support;

namespace {

std::string machine() {
    struct utsname system = {};
    EXPECT_EQ(0, uname(&system));
    return system.machine;
}

/// First line of a shell command's output, read in the plainest way.
std::string firstLine(const std::string& command) {
    FILE* stream = popen(command.c_str(), "r");
    EXPECT_NE(nullptr, stream);
    std::string line;
    for (int c = getc(stream); c != EOF && c != '\n'; c = getc(stream))
        line += static_cast<char>(c);
    pclose(stream);
    return line;
}

volatile sig_atomic_t s_signals = 0;

// --- execLinuxCommand ------------------------------------------------------------------------

TEST(ExecLinuxCommandTest, LineLosesItsEnd) {
    EXPECT_EQ("abc", Manager().execLinuxCommand("echo abc"));
}

TEST(ExecLinuxCommandTest, LinesAreJoined) {
    EXPECT_EQ("abc", Manager().execLinuxCommand("printf 'a\\nb\\n\\nc\\n'"));
}

TEST(ExecLinuxCommandTest, LineWithoutEndLosesItsLastCharacter) {
    EXPECT_EQ("ab", Manager().execLinuxCommand("printf abc"));
    EXPECT_EQ("ab", Manager().execLinuxCommand("printf 'a\\nbc'"));
    EXPECT_EQ("", Manager().execLinuxCommand("printf a"));
}

TEST(ExecLinuxCommandTest, NoOutputIsEmpty) {
    EXPECT_EQ("", Manager().execLinuxCommand("true"));
}

TEST(ExecLinuxCommandTest, OutputThatBeginsWithNulIsHarmless) {
    EXPECT_EQ("", Manager().execLinuxCommand("printf '\\0\\n'"));
}

TEST(ExecLinuxCommandTest, NulCutsItsPieceBeforeTheLastCharacterGoes) {
    EXPECT_EQ("aef", Manager().execLinuxCommand("printf 'ab\\0cd\\nef\\n'"));
}

TEST(ExecLinuxCommandTest, PiecesOf127CharactersEachLoseTheirLastOne) {
    std::string text;  // every character tells its place modulo 10
    for (int i = 0; i < 400; ++i) text += static_cast<char>('0' + i % 10);
    struct Row {
        std::size_t length;
        bool lineEnd;
        std::vector<std::size_t> lost;  // places
    };
    const std::vector<Row> rows = {
        {125, true, {}},
        {126, true, {}},
        {127, true, {126}},  // the line end makes a piece of its own
        {128, true, {126}},
        {126, false, {125}},
        {127, false, {126}},
        {128, false, {126, 127}},
        {253, true, {126}},
        {254, true, {126, 253}},
        {300, true, {126, 253}},
        {300, false, {126, 253, 299}},
        {381, true, {126, 253, 380}},
    };
    for (const Row& row : rows) {
        test_support::TempDir dir;
        const std::string file = dir / "output";
        test_support::writeFile(file, text.substr(0, row.length) + (row.lineEnd ? "\n" : ""));
        std::string expected;
        for (std::size_t i = 0; i < row.length; ++i)
            if (std::find(row.lost.begin(), row.lost.end(), i) == row.lost.end())
                expected += text[i];
        EXPECT_EQ(expected, Manager().execLinuxCommand("cat " + file))
            << row.length << " characters, line end " << row.lineEnd;
    }
}

TEST(ExecLinuxCommandTest, OutputIsReadToItsEndWhateverItsLength) {
    constexpr std::size_t kLines = 50000;  // far more than a pipe holds
    std::string text;
    for (std::size_t i = 0; i < kLines; ++i) text += "line\n";
    test_support::TempDir dir;
    test_support::writeFile(dir / "output", text);
    const std::string output = Manager().execLinuxCommand("cat " + (dir / "output"));
    EXPECT_EQ(kLines * 4, output.size());
    EXPECT_EQ("lineline", output.substr(output.size() - 8));
}

TEST(ExecLinuxCommandTest, ExitStatusAndStandardErrorDoNotMatter) {
    EXPECT_EQ("out", Manager().execLinuxCommand("{ echo err >&2; } 2>/dev/null; echo out; exit 3"));
}

TEST(ExecLinuxCommandTest, CommandGoesToTheShellForReading) {
    SystemSpy spy;
    Manager().execLinuxCommand("echo 'a  b' | tail -n 1");
    EXPECT_EQ(Texts{"echo 'a  b' | tail -n 1"}, spy.commands);
    EXPECT_EQ(Texts{"r"}, spy.modes);
}

TEST(ExecLinuxCommandTest, SignalThatInterruptsTheReadCostsNothing) {
    struct sigaction action = {};
    action.sa_handler = [](int) { s_signals = 1; };  // no SA_RESTART
    struct sigaction before = {};
    ASSERT_EQ(0, sigaction(SIGUSR1, &action, &before));
    const std::string output =
        Manager().execLinuxCommand("printf abc; for i in 1 2 3; do sleep 0.1; kill -USR1 " +
                                   std::to_string(getpid()) + "; done; printf 'def\\nghi\\n'");
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(1, s_signals);
    EXPECT_EQ("abcdefghi", output);
}

TEST(ExecLinuxCommandTest, FailingPopenThrows) {
    ChildProcess child = ChildProcess::fork([] {
        const struct rlimit none = {0, 0};
        if (setrlimit(RLIMIT_NOFILE, &none) != 0) return 1;
        try {
            Manager().execLinuxCommand("echo abc");
            return 2;
        } catch (const std::runtime_error& error) {
            return std::string(error.what()) == "popen() failed!" ? 0 : 3;
        }
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

TEST(ExecLinuxCommandTest, LeavesNoDescriptorAndNoChildBehind) {
    const auto descriptors = [] { return test_support::namesIn("/proc/self/fd").size(); };
    const std::size_t before = descriptors();
    Manager().execLinuxCommand("echo abc");
    EXPECT_EQ(before, descriptors());
    EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

TEST(ExecLinuxCommandTest, CommandThatHangsIsEndedWithAllThatItHasStartedAndPrintsNothing) {
    const test_support::TempDir directory;
    const std::string ids = directory / "ids";
    ChildProcess other = ChildProcess::fork([] { return pause(); });
    EXPECT_EQ("", Manager().execLinuxCommand("echo half; echo $$ >" + ids +
                                             "; (sleep 1000; :) & echo $! >>" + ids + "; wait"));
    std::ifstream in(ids);
    int ended = 0;
    for (pid_t id = 0; in >> id; ++ended)
        EXPECT_TRUE(test_support::eventually([id] { return kill(id, 0) != 0; })) << id;
    EXPECT_EQ(2, ended);
    EXPECT_FALSE(other.hasEnded()) << "no part of the command";
    other.signal(SIGKILL);
    other.wait();
}

// --- /proc -----------------------------------------------------------------------------------

TEST(SystemProbesTest, CpuModelIsThatOfThisMachine) {
    EXPECT_EQ(firstLine("sed -n 's/^model name[^:]*: //p' /proc/cpuinfo"),
              Manager().extract_cpuModel());
}

TEST(SystemProbesTest, MemInfoHasALeafForEveryLineInFileOrder) {
    Texts names;
    std::ifstream file("/proc/meminfo");
    for (std::string line; std::getline(file, line);)
        names.push_back(line.substr(0, line.find(':')));
    ASSERT_FALSE(names.empty());

    const std::vector<TableNode*> leaves = Manager().extract_memInfo();
    ASSERT_EQ(names.size(), leaves.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string start = names[i] + " : ";
        const std::string text = leaves[i]->getKey();
        EXPECT_TRUE(leaves[i]->getTreeTable().empty());
        ASSERT_EQ(start, text.substr(0, start.size()));
        ASSERT_GT(text.size(), start.size());
        EXPECT_NE(' ', text[start.size()]) << text;
    }
    EXPECT_EQ("MemTotal : " + firstLine("awk '/^MemTotal:/ {print $2, $3}' /proc/meminfo"),
              leaves[0]->getKey());
}

TEST(SystemProbesTest, MemInfoLeavesOutLinesWithoutRoomInTheArena) {
    test_support::leaveInArena(2 * sizeof(TableNode));
    const std::vector<TableNode*> leaves = Manager().extract_memInfo();
    ASSERT_EQ(2u, leaves.size());
    EXPECT_EQ(0u, leaves[0]->getKey().find("MemTotal : "));
}

TEST(SystemProbesTest, CpuModelIsReadAfreshFromCpuinfo) {
    SystemSpy spy;
    const Manager manager;
    spy.files["/proc/cpuinfo"] = "processor\t: 0\nmodel name\t: Fast CPU 3000\ncache\t: 1\n";
    EXPECT_EQ("Fast CPU 3000", manager.extract_cpuModel());
    spy.files["/proc/cpuinfo"] = "model name\t: Another\n";
    EXPECT_EQ("Another", manager.extract_cpuModel());
}

TEST(SystemProbesTest, MemInfoKeepsEveryLineOfMeminfoWhateverItsName) {
    SystemSpy spy;
    spy.files["/proc/meminfo"] =
        "MemTotal:       16384 kB\nAnything (at all):   0\nMemTotal: 7: 8\nZero:\t0 kB";
    const Manager manager;
    EXPECT_EQ(
        (Texts{"MemTotal : 16384 kB", "Anything (at all) : 0", "MemTotal : 7", "Zero : \t0 kB"}),
        treeTexts(manager.extract_memInfo()));
}

TEST(SystemProbesTest, MemInfoLineWithoutValueRaisesOutOfRange) {
    SystemSpy spy;
    spy.files["/proc/meminfo"] = "MemTotal:  1 kB\nOdd:   \nMemFree:  1 kB\n";
    EXPECT_THROW(Manager().extract_memInfo(), std::out_of_range);
}

TEST(SystemProbesTest, FilesThatCannotBeOpenedGiveNothingAndSayNothing) {
    SystemSpy spy;
    spy.files = {{"/proc/cpuinfo", std::nullopt}, {"/proc/meminfo", std::nullopt}};
    test_support::StdoutCapture output;
    EXPECT_EQ("", Manager().extract_cpuModel());
    EXPECT_TRUE(Manager().extract_memInfo().empty());
    EXPECT_EQ("", output.text());
}

// --- Commands --------------------------------------------------------------------------------

TEST(SystemProbesTest, OsInfoIsTheFirstReleaseLineAndTheMachine) {
    SystemSpy spy;
    spy.output = [](const std::string&) { return "NAME=\"Some OS\"\n"; };
    EXPECT_EQ("NAME=\"Some OS\" " + machine(), Manager().extract_osInfo());
    EXPECT_EQ(Texts{"cat /etc/*-release | head -n 1"}, spy.commands);
}

TEST(SystemProbesTest, OsInfoWithoutReleaseFileIsBlankAndMachine) {
    SystemSpy spy;
    spy.output = [](const std::string&) { return ""; };
    EXPECT_EQ(" " + machine(), Manager().extract_osInfo());
}

TEST(SystemProbesTest, OsInfoWithoutSystemNameIsTheReleaseLineAlone) {
    SystemSpy spy;
    spy.output = [](const std::string&) { return "Some OS\n"; };
    spy.unameFails = true;
    EXPECT_EQ("Some OS", Manager().extract_osInfo());
}

TEST(SystemProbesTest, OsInfoOfThisMachine) {
    EXPECT_EQ(firstLine("cat /etc/*-release 2>/dev/null") + " " + machine(),
              Manager().extract_osInfo());
}

TEST(SystemProbesTest, TotalMemoryAsksForThisProcess) {
    ScopedFakePlatform platform;
    platform.fakePid = 4242;
    SystemSpy spy;
    spy.output = [](const std::string&) { return " total    2048K\n"; };
    EXPECT_EQ("2048K", Manager().getTotalMemory());
    EXPECT_EQ(Texts{"pmap 4242 | tail -n 1"}, spy.commands);
}

TEST(SystemProbesTest, TotalMemoryOfThisProcess) {
    const std::string total = Manager().getTotalMemory();
    ASSERT_GT(total.size(), 1u);
    EXPECT_EQ('K', total.back());
    EXPECT_EQ(total.size() - 1, total.find_first_not_of("0123456789")) << total;
}

TEST(SystemProbesTest, UtilizationsEachRunTheSameCommandWithTwoBlanks) {
    ScopedFakePlatform platform;
    platform.fakePid = 4242;
    SystemSpy spy;
    spy.output = [](const std::string&) { return " 2.5  0.1\n"; };
    EXPECT_EQ("2.5 %", Manager().getCpuUtilization());
    EXPECT_EQ("0.1 %", Manager().getMemoryUtilization());
    const std::string command = "ps -p 4242  -o %cpu=,%mem=";
    EXPECT_EQ((Texts{command, command}), spy.commands);
}

TEST(SystemProbesTest, UtilizationsOfThisProcessAreNumbers) {
    for (const std::string& text :
         {Manager().getCpuUtilization(), Manager().getMemoryUtilization()}) {
        ASSERT_GT(text.size(), 2u);
        EXPECT_EQ(text.size() - 2, text.find(" %")) << text;
        EXPECT_EQ(text.size() - 2, text.find_first_not_of("0123456789.")) << text;
    }
}

TEST(SystemProbesTest, CommandThatPrintsNothingGivesEmptyValues) {
    SystemSpy spy;
    spy.output = [](const std::string&) { return ""; };
    EXPECT_EQ("", Manager().getTotalMemory());
    EXPECT_EQ(" %", Manager().getCpuUtilization());
    EXPECT_EQ(" %", Manager().getMemoryUtilization());
}

TEST(SystemProbesTest, ProcessThatIsGoneGivesEmptyUtilizations) {
    ChildProcess child = ChildProcess::fork([] { return 0; });
    child.wait();
    ScopedFakePlatform platform;
    platform.fakePid = child.pid();
    EXPECT_EQ(" %", Manager().getCpuUtilization());
    EXPECT_EQ(" %", Manager().getMemoryUtilization());
}

TEST(SystemProbesTest, FailingPopenEndsEveryProbeThatRunsACommand) {
    SystemSpy spy;
    spy.output = [](const std::string&) { return std::nullopt; };
    const Manager manager;
    EXPECT_THROW(manager.extract_osInfo(), std::runtime_error);
    EXPECT_THROW(manager.getTotalMemory(), std::runtime_error);
    EXPECT_THROW(manager.getCpuUtilization(), std::runtime_error);
    EXPECT_THROW(manager.getMemoryUtilization(), std::runtime_error);
}

}  // namespace

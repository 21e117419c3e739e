#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "TreeText.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "support/CrashArena.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using HCrashRptMetaData::Manager;
using HCrashRptMetaData::TableNode;
using namespace test_support;

namespace {

/// The items that a log of these lines adds, but for "stacktrace" at the end.
Texts analysisOf(const Texts& lines) {
    TempDir dir;
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    writeFile(dir / "log", text);
    Manager manager;
    EXPECT_TRUE(manager.addStackTraceToMetaDataTable(dir / "log"));
    Texts items = treeTexts(manager.getTable());
    EXPECT_EQ("stacktrace", manager.getTable().back()->getKey());
    EXPECT_EQ(lines, treeTexts(manager.getTable().back()->getTreeTable()));
    items.pop_back();
    return items;
}

// --- The log -----------------------------------------------------------------------------------

TEST(StackTraceAnalysisTest, WholeLogGivesSignalSubsystemFunctionAndLines) {
    EXPECT_EQ((Texts{"signalNumber[11]", "subSystem[Router]", "functionName[Net::route()]"}),
              analysisOf({
                  "#",
                  "# An unexpected error has occurred (11)",
                  "#",
                  "Stack:",
                  "libc.so.6(abort+0x12)[0x7f00]",
                  "/opt/lib/libzeb_HCrashReporter.so(handler()+0x1)[0x7f01]",
                  "/opt/lib/libzeb_Router.so(Net::route()+0x1a)[0x7f02]",
                  "/opt/lib/libzeb_Placer.so(place()+0x2b)[0x7f03]",
                  "",
                  "prog(main+0x1)[0x400]",
              }));
}

TEST(StackTraceAnalysisTest, MissingLogAddsNothingAndSaysNothing) {
    TempDir dir;
    StdoutCapture output;
    Manager manager;
    EXPECT_FALSE(manager.addStackTraceToMetaDataTable(dir / "log"));
    EXPECT_TRUE(manager.getTable().empty());
    EXPECT_EQ("", output.text());
}

TEST(StackTraceAnalysisTest, ExistenceIsThePlatformsAnswer) {
    TempDir dir;
    writeFile(dir / "log", "line\n");
    ScopedFakePlatform platform;
    platform.onExists = [](const std::string&) { return false; };
    Manager manager;
    EXPECT_FALSE(manager.addStackTraceToMetaDataTable(dir / "log"));
    EXPECT_TRUE(manager.getTable().empty());
}

// Nobody can open a socket as a file, not even root.
TEST(StackTraceAnalysisTest, LogThatCannotBeOpenedSaysSoAndAddsAnEmptyTrace) {
    TempDir dir;
    const test_support::ScopedWorkingDirectory here(dir.path());
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string name = "log";
    name.copy(address.sun_path, name.size());
    ASSERT_EQ(0, bind(fd, reinterpret_cast<const struct sockaddr*>(&address), sizeof address));
    close(fd);

    StdoutCapture output;
    Manager manager;
    EXPECT_FALSE(manager.addStackTraceToMetaDataTable(dir / "log"));
    EXPECT_EQ("\nCould not open hs_err_pid*.log file for updating crash report\n",
              output.flushedText());
    EXPECT_EQ(Texts{"stacktrace"}, treeTexts(manager.getTable()));
}

TEST(StackTraceAnalysisTest, LastLineWithoutEndIsKept) {
    TempDir dir;
    writeFile(dir / "log", "one\ntwo");
    Manager manager;
    EXPECT_TRUE(manager.addStackTraceToMetaDataTable(dir / "log"));
    EXPECT_EQ("stacktrace[one, two]", treeText(manager.getTable().back()));
}

TEST(StackTraceAnalysisTest, EachLineIsTakenBeforeWhatItTellsAndTheirTableLast) {
    TempDir dir;
    writeFile(dir / "log", "# An unexpected error has occurred (11)\nlibzeb_A.so(f()+0x1)[0x1]\n");
    Manager manager;
    EXPECT_TRUE(manager.addStackTraceToMetaDataTable(dir / "log"));
    const std::vector<TableNode*>& items = manager.getTable();
    ASSERT_EQ((Texts{"signalNumber", "subSystem", "functionName", "stacktrace"}), keysOf(items));
    const std::vector<TableNode*>& lines = items[3]->getTreeTable();
    ASSERT_EQ(2u, lines.size());
    // The arena hands out its blocks in rising order.
    const std::vector<const TableNode*> taken = {lines[0], items[0], lines[1],
                                                 items[1], items[2], items[3]};
    for (std::size_t i = 1; i < taken.size(); ++i) EXPECT_LT(taken[i - 1], taken[i]) << i;
}

TEST(StackTraceAnalysisTest, LogThatExhaustsTheArenaKeepsWhatItToldBefore) {
    TempDir dir;
    writeFile(dir / "log",
              "# An unexpected error has occurred (11)\nlibzeb_A.so(f()+0x1)[0x1]\nmore\n");
    constexpr std::size_t kNodes = 2 + 3 * 2;  // two lines and three pairs
    test_support::leaveInArena(kNodes * sizeof(TableNode));
    StdoutCapture output;
    Manager manager;
    EXPECT_TRUE(manager.addStackTraceToMetaDataTable(dir / "log"));
    EXPECT_EQ((Texts{"signalNumber[11]", "subSystem[A]", "functionName[f()]"}),
              treeTexts(manager.getTable()));
    EXPECT_EQ("", output.text());
}

// --- Choice of the frame -------------------------------------------------------------------------

struct Choice {
    const char* name;
    Texts log;
    Texts items;
};
void PrintTo(const Choice& choice, std::ostream* out) {
    *out << choice.name;
}

const Texts kNoItems = {"subSystem[]", "functionName[]"};
const Texts kItemsOfA = {"subSystem[A]", "functionName[f()]"};

class StackTraceChoiceTest : public testing::TestWithParam<Choice> {};

TEST_P(StackTraceChoiceTest, GivesTheItems) {
    EXPECT_EQ(GetParam().items, analysisOf(GetParam().log));
}

INSTANTIATE_TEST_SUITE_P(
    Table, StackTraceChoiceTest,
    testing::Values(
        Choice{"EmptyLog", {}, kNoItems},
        Choice{
            "NoInHouseFrame", {"/lib/libc.so.6(abort+0x12)[0x1]", "prog(main+0x1)[0x2]"}, kNoItems},
        Choice{
            "OnlyTheFirstAcceptableFrame",
            {"libzeb_A.so(f()+0x1)[0x1]", "libzeb_B.so(g()+0x1)[0x2]", "libzeb_A.so(h()+0x1)[0x3]"},
            kItemsOfA},
        Choice{"OnlyStandardLibraryFramesGiveTheFirstSubsystemAndNoFunction",
               {"libzeb_A.so(std::sort()+0x1)[0x1]", "libzeb_B.so(std::map()+0x1)[0x2]"},
               {"subSystem[A]", "functionName[]"}},
        Choice{"AcceptedFrameShowsItsOwnSubsystemNotTheCarriedOne",
               {"libzeb_A.so(std::sort()+0x1)[0x1]", "libzeb_B.so(g()+0x1)[0x2]"},
               {"subSystem[B]", "functionName[g()]"}},
        Choice{
            "FramesOfThisLibraryAreSkipped", {"libzeb_HCrashReporter.so(f()+0x1)[0x1]"}, kNoItems},
        Choice{"FunctionsOfThisLibraryAreSkipped",
               {"libzeb_A.so(HCrashReporter::f()+0x1)[0x1]"},
               kNoItems},
        // A program's own function counts, too.
        Choice{"TheInHouseWordMayStandAnywhereInTheLine",
               {"/opt/libzeb_dir/prog(f()+0x1)[0x1]"},
               {"subSystem[]", "functionName[f()]"}},
        Choice{"LibraryWithoutUnderscore",
               {"/opt/lib/libzebRouter.so(f()+0x1)[0x1]"},
               {"subSystem[Router]", "functionName[f()]"}},
        Choice{"TwoErrorLinesGiveTwoSignalNumbers",
               {"# An unexpected error has occurred (11)", "# An unexpected error has occurred (6)",
                "libzeb_A.so(f()+0x1)[0x1]"},
               {"signalNumber[11]", "signalNumber[6]", "subSystem[A]", "functionName[f()]"}},
        Choice{"ItemsStandInTheOrderInWhichTheirLinesAreMet",
               {"libzeb_A.so(f()+0x1)[0x1]", "# An unexpected error has occurred (11)"},
               {"subSystem[A]", "functionName[f()]", "signalNumber[11]"}},
        Choice{"ErrorLineNeedsItsExactWords",
               {"# an unexpected error has occurred (11)", "# An unexpected error (11)"},
               kNoItems},
        Choice{"ErrorLineMayBeAFrame",
               {"libzeb_A.so(f) An unexpected error has occurred+"},
               {"signalNumber[f]", "subSystem[A]",
                "functionName[f) An unexpected error has occurred]"}}),
    [](const auto& row) { return std::string(row.param.name); });

// --- One frame -------------------------------------------------------------------------------

struct Frame {
    const char* line;
    const char* subsystem;
    const char* function;  // null: not accepted
};

void expectFrames(const std::vector<Frame>& frames) {
    for (const Frame& frame : frames) {
        Manager manager;
        std::string carried;
        bool found = false;
        manager.addFailingFuncAndSubsystemName(frame.line, carried, found);
        EXPECT_EQ(frame.subsystem, carried) << frame.line;
        EXPECT_EQ(frame.function != nullptr, found) << frame.line;
        const Texts expected = frame.function == nullptr
                                   ? Texts{}
                                   : Texts{"subSystem[" + std::string(frame.subsystem) + "]",
                                           "functionName[" + std::string(frame.function) + "]"};
        EXPECT_EQ(expected, treeTexts(manager.getTable())) << frame.line;
    }
}

TEST(FailingFrameTest, SubsystemStandsBetweenPrefixAndSuffix) {
    expectFrames({
        {"libzeb_Router.so(f()+0x1)[0x1]", "Router", "f()"},
        {"/opt/lib/libzeb_Router.so(f()+0x1)[0x1]", "Router", "f()"},
        {"libzeb_Router.so.1.2(f()+0x1)[0x1]", "Router", "f()"},
        {"libzeb_A_B.so(f()+0x1)", "A_B", "f()"},
        {"libzebRouter.so(f()+0x1)[0x1]", "Router", "f()"},
        {"libzeb_.so(f()+0x1)[0x1]", "", "f()"},
        {"libzeb.so(f()+0x1)[0x1]", "", "f()"},
        {"libother.so(f()+0x1)[0x1]", "", "f()"},
    });
}

TEST(FailingFrameTest, UnderscoreFormGoesBeforeTheOtherWhereverItStands) {
    expectFrames({{"libzebA.solibzeb_B(f+1)", "B(f+1)", "f"}});
}

TEST(FailingFrameTest, FirstOccurrencesCount) {
    expectFrames({
        {"libzeb_A.so(libzeb_B.so+1)", "A", "libzeb_B.so"},
        {"libzeb_A.so(f(int)+0x1)(g+2)", "A", "f(int)"},
        {"libzeb_A.so(operator+(int)+0x1)", "A", "operator"},
    });
}

TEST(FailingFrameTest, DirectoryEndsAtTheLastSeparatorOfTheLine) {
    expectFrames({
        {"/opt/libzeb_dir/libzeb_A.so(f()+0x1)", "A", "f()"},
        {"/opt/libzeb_A.so(f(a/b)+0x1)", "", "b)"},
        {"/opt/libzeb_A.so(f()+0x1)/", "", nullptr},
    });
}

TEST(FailingFrameTest, WithoutSuffixTheSubsystemRunsToTheEnd) {
    expectFrames({
        {"libzeb_A(f+1)", "A(f+1)", "f"},
        {"x.so libzeb_A(f+1)", "A(f+1)", "f"},
        {"a.solibzebB(f+1)", "B(f+1)", "f"},
    });
}

// Only the first ".so" ends a subsystem, also where it stands before it.
TEST(FailingFrameTest, SuffixBeforeTheSubsystemLetsItRunToTheEnd) {
    expectFrames({
        {"x.so libzeb_A.so(f+1)", "A.so(f+1)", "f"},
        {"x.so libzebB.so(f+1)", "B.so(f+1)", "f"},
    });
}

TEST(FailingFrameTest, FunctionStandsBetweenParenthesisAndPlus) {
    expectFrames({
        {"libzeb_A.so(+0x1)[0x1]", "A", nullptr},
        {"libzeb_A.so(", "A", nullptr},
        {"libzeb_A.so()", "A", ")"},
        {"libzeb_A.so(f", "A", "f"},
        {"libzeb_A.so", "A", "libzeb_A.so"},
        {"libzeb_A.so+0x1", "A", "libzeb_A.so"},
        {"+libzeb_A.so", "A", nullptr},
        {"libzeb_A++.so(f+1)", "A++", "f+1)"},
        {"", "", nullptr},
    });
}

TEST(FailingFrameTest, StandardLibraryFunctionsAreRejectedFromFiveCharactersOn) {
    expectFrames({
        {"libzeb_A.so(std::sort()+0x1)", "A", nullptr},
        {"libzeb_A.so(std::+0x1)", "A", nullptr},
        {"libzeb_A.so(std:+0x1)", "A", "std:"},
        {"libzeb_A.so(std+0x1)", "A", "std"},
        {"libzeb_A.so(f+0x1)", "A", "f"},
        {"libzeb_A.so(xstd::f+0x1)", "A", "xstd::f"},
        {"libzeb_A.so(void std::sort()+0x1)", "A", "void std::sort()"},
    });
}

TEST(FailingFrameTest, CarriedSubsystemNeverChangesOnceItHasText) {
    Manager manager;
    std::string carried;
    bool found = false;
    manager.addFailingFuncAndSubsystemName("libzeb_.so(std::f+1)", carried, found);
    EXPECT_EQ("", carried);
    manager.addFailingFuncAndSubsystemName("libzeb_A.so(std::f+1)", carried, found);
    EXPECT_EQ("A", carried);
    manager.addFailingFuncAndSubsystemName("libzeb_B.so(std::f+1)", carried, found);
    EXPECT_EQ("A", carried);
    EXPECT_FALSE(found);
    EXPECT_TRUE(manager.getTable().empty());
    manager.addFailingFuncAndSubsystemName("libzeb_C.so(g+1)", carried, found);
    EXPECT_EQ("A", carried);
    EXPECT_TRUE(found);
    EXPECT_EQ((Texts{"subSystem[C]", "functionName[g]"}), treeTexts(manager.getTable()));
}

TEST(FailingFrameTest, RejectedFrameLeavesFoundAsItIs) {
    Manager manager;
    std::string carried;
    bool found = true;
    manager.addFailingFuncAndSubsystemName("libzeb_A.so(std::f+1)", carried, found);
    EXPECT_TRUE(found);
}

// --- Signal number ---------------------------------------------------------------------------

TEST(GetSignalNumberTest, IsTheTextBetweenTheFirstParentheses) {
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"# An unexpected error has occurred (11)", "11"},
        {"(6) and (7)", "6"},
        {"()", ""},
        {"a(b(c)d)", "b(c"},
        {"no parenthesis", "no parenthesis"},
        {"", ""},
        {"closed 11) only", "closed 11"},
        {"open (11", "11"},
        {"open (", ""},
        {"wrong ) order (11 end", "11 end"},
        {"wrong ) order (11) end", "11) end"},
        {")(", ""},
        {")", ""},
    };
    for (const auto& [line, expected] : rows)
        EXPECT_EQ(expected, Manager().getSignalNumber(line)) << "'" << line << "'";
}

}  // namespace

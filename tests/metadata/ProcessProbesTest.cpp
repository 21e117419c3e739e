#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "TreeText.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "support/CrashArena.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using HCrashRptMetaData::Manager;
using namespace test_support;

namespace {

TEST(GetCmdlineTest, ProgramLosesItsDirectory) {
    ScopedFakePlatform platform;
    platform.fakeCommandLine = "/opt/tool/bin/prog -mode batch";
    EXPECT_EQ("prog -mode batch", Manager().getCmdline());
}

TEST(GetCmdlineTest, WithoutDirectoryIsUnchanged) {
    ScopedFakePlatform platform;
    platform.fakeCommandLine = "prog -source /a/b";
    EXPECT_EQ("prog -source /a/b", Manager().getCmdline());
}

TEST(GetTestcaseTest, OutsideTheMakersNetworkIsTheScriptAlone) {
    ScopedFakePlatform platform;
    platform.fakeInsideVeltra = false;
    EXPECT_EQ("run.tcl", Manager().getTestcase("prog -source  run.tcl -mode batch"));
}

TEST(GetTestcaseTest, InsideTheMakersNetworkStandsInTheWorkingDirectory) {
    ScopedFakePlatform platform;
    platform.fakeWorkingDirectory = "/home/tester/run";
    EXPECT_EQ("/home/tester/run/run.tcl", Manager().getTestcase("prog -source  run.tcl"));
}

TEST(GetTestcaseTest, WorkingDirectoryIsPutInFrontOfAnAbsolutePathToo) {
    ScopedFakePlatform platform;
    platform.fakeWorkingDirectory = "/home/tester";
    EXPECT_EQ("/home/tester//a/run.tcl", Manager().getTestcase("prog -source /a/run.tcl"));
    platform.fakeWorkingDirectory = "/";
    EXPECT_EQ("//run.tcl", Manager().getTestcase("prog -source run.tcl"));
}

TEST(GetTestcaseTest, WithoutScriptIsEmptyInsideAndOutside) {
    ScopedFakePlatform platform;
    platform.fakeWorkingDirectory = "/home/tester";
    for (const bool inside : {true, false}) {
        platform.fakeInsideVeltra = inside;
        for (const char* line : {"prog", "prog -source", "prog -source ", "prog -source    "})
            EXPECT_EQ("", Manager().getTestcase(line)) << "'" << line << "' " << inside;
    }
}

TEST(GuiStrDumpTest, EachLineIsALeafInFileOrder) {
    const std::pair<const char*, const char*> rows[] = {
        {"first\n\n  second  \nlast without end",
         "GuiStrDump[first, ,   second  , last without end]"},
        {"", "GuiStrDump"}};
    for (const auto& [content, text] : rows) {
        TempDir dir;
        writeFile(dir / "dump", content);
        Manager manager;
        EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(dir / "dump"));
        EXPECT_EQ(Texts{text}, treeTexts(manager.getTable()));
    }
}

TEST(GuiStrDumpTest, FileThatIsMissingOrCannotBeOpenedAddsNothingAndSaysNothing) {
    TempDir dir;
    writeFile(dir / "file", "line\n");
    for (const char* name : {"dump", "file/dump"}) {
        StdoutCapture output;
        Manager manager;
        EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(dir / name));
        EXPECT_TRUE(manager.getTable().empty()) << name;
        EXPECT_EQ("", output.text());
    }
}

TEST(GuiStrDumpTest, EmptyPathAddsNothing) {
    Manager manager;
    EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(""));
    EXPECT_TRUE(manager.getTable().empty());
}

class NoGuiStrDumpTest : public testing::Test {
  protected:
    void expectNoDump(const std::string& path) {
        Manager manager;
        EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(path));
        EXPECT_EQ(Texts{}, treeTexts(manager.getTable()));
    }
    TempDir dir;
    const std::string dump = dir / "dump";
};

TEST_F(NoGuiStrDumpTest, ASymbolicLinkToAPrivateFile) {
    writeFile(dir / "private-key", "secret\n");
    ASSERT_EQ(0, symlink((dir / "private-key").c_str(), dump.c_str()));
    expectNoDump(dump);
}

TEST_F(NoGuiStrDumpTest, ASecondHardLinkOfAPrivateFile) {
    writeFile(dir / "private-key", "secret\n");
    ASSERT_EQ(0, link((dir / "private-key").c_str(), dump.c_str()));
    expectNoDump(dump);
}

TEST_F(NoGuiStrDumpTest, ANamedPipeThatNobodyWritesInto) {
    ASSERT_EQ(0, mkfifo(dump.c_str(), 0600));
    expectNoDump(dump);
}

TEST_F(NoGuiStrDumpTest, ADeviceThatNeverEnds) {
    expectNoDump("/dev/zero");
}

TEST_F(NoGuiStrDumpTest, AnotherUsersFile) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's file";
    constexpr uid_t kOther = 65534;
    writeFile(dump, "text\n");
    ASSERT_EQ(0, chown(dump.c_str(), kOther, kOther));
    expectNoDump(dump);
}

TEST(GuiStrDumpTest, OnlyLinesWithinTheFirstMebibyteAreRead) {
    TempDir dir;
    writeFile(dir / "dump", "first\n" + std::string(1024 * 1024, 'x') + "\nlast\n");
    Manager manager;
    EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(dir / "dump"));
    EXPECT_EQ(Texts{"GuiStrDump[first]"}, treeTexts(manager.getTable()));
}

TEST(GuiStrDumpTest, DumpThatExhaustsTheArenaIsMissingWithoutAWord) {
    test_support::leaveInArena(4 * sizeof(HCrashRptMetaData::TableNode));
    TempDir dir;
    writeFile(dir / "dump", "1\n2\n3\n");
    StdoutCapture output;
    Manager manager;
    manager.addItem("before", "value");
    EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(dir / "dump"));
    EXPECT_EQ(Texts{"before[value]"}, treeTexts(manager.getTable()));
    EXPECT_EQ("", output.text());
}

}  // namespace

#include <gtest/gtest.h>

#include "SystemSpy.h"
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
    SystemSpy spy;
    StdoutCapture output;
    for (const bool isThere : {false, true}) {
        if (isThere) writeFile(dir / "dump", "line\n");
        if (isThere) spy.files[dir / "dump"] = std::nullopt;
        Manager manager;
        EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(dir / "dump"));
        EXPECT_TRUE(manager.getTable().empty());
    }
    EXPECT_EQ("", output.text());
}

TEST(GuiStrDumpTest, EmptyPathAddsNothing) {
    Manager manager;
    EXPECT_TRUE(manager.addGuiStrFileContentToMetaDataTable(""));
    EXPECT_TRUE(manager.getTable().empty());
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

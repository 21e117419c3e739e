#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <ctime>
#include <stdexcept>

#include "SystemSpy.h"
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

const Texts kKeys = {
    "timestamp",   "programName", "productVersion",   "buildNumber",       "buildDate",
    "commandLine", "testcase",    "totalMemoryUsage", "memoryUtilization", "cpuUtilization",
    "osInfo",      "cpuInfo",     "memInfo"};

/// Fixed answers of pmap, ps and cat.
std::optional<std::string> fixedOutput(const std::string& command) {
    if (command.rfind("pmap", 0) == 0) return " total    2048K\n";
    if (command.rfind("ps", 0) == 0) return " 2.5  0.1\n";
    return "Some OS\n";
}

/// Local time of a text in asctime()'s layout.
std::time_t timeOf(const std::string& text) {
    struct tm parts = {};
    const char* end = strptime(text.c_str(), "%a %b %e %H:%M:%S %Y", &parts);
    EXPECT_TRUE(end != nullptr && *end == '\0') << text;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

class PopulateTest : public testing::Test {
  protected:
    PopulateTest() {
        platform.fakePid = 4242;
        platform.fakeWorkingDirectory = "/home/tester";
        platform.fakeCommandLine = "/opt/bin/prog -source run.tcl";
        spy.output = fixedOutput;
    }

    /// populate() with commands of this beginning failing.
    void expectFailureAt(const std::string& command, std::size_t itemsBefore) {
        spy.output = [command](const std::string& asked) {
            return asked.rfind(command, 0) == 0 ? std::nullopt : fixedOutput(asked);
        };
        try {
            manager.populate();
            FAIL() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ("popen() failed!", error.what());
        }
        EXPECT_EQ(Texts(kKeys.begin(), kKeys.begin() + static_cast<std::ptrdiff_t>(itemsBefore)),
                  keysOf(manager.getTable()));
    }

    ScopedFakePlatform platform;
    SystemSpy spy;
    Manager manager;
};

TEST_F(PopulateTest, ThirteenItemsInTheirOrder) {
    platform.fakeProgramName = "prog";
    platform.fakeProduct = {"Designer", "4.2", -7, "2026-11-21"};
    struct utsname system = {};
    uname(&system);
    const std::time_t before = std::time(nullptr);
    manager.populate();

    ASSERT_EQ(kKeys, keysOf(manager.getTable()));
    const Texts items = treeTexts(manager.getTable());
    const std::time_t stamped = timeOf(manager.getTable()[0]->getTreeTable()[0]->getKey());
    EXPECT_LE(before, stamped);
    EXPECT_LE(stamped, std::time(nullptr));
    EXPECT_EQ((Texts{"programName[prog]", "productVersion[4.2]", "buildNumber[-7]",
                     "buildDate[2026-11-21]", "commandLine[prog -source run.tcl]",
                     "testcase[/home/tester/run.tcl]", "totalMemoryUsage[2048K]",
                     "memoryUtilization[0.1 %]", "cpuUtilization[2.5 %]",
                     "osInfo[Some OS " + std::string(system.machine) + "]",
                     "cpuInfo[" + manager.extract_cpuModel() + "]"}),
              Texts(items.begin() + 1, items.begin() + 12));
    EXPECT_EQ(manager.extract_memInfo().size(), manager.getTable()[12]->getTreeTable().size());
    EXPECT_EQ(0u, items[12].find("memInfo[MemTotal : "));
}

TEST_F(PopulateTest, RunsFourCommandsInOrder) {
    manager.populate();
    EXPECT_EQ((Texts{"pmap 4242 | tail -n 1", "ps -p 4242  -o %cpu=,%mem=",
                     "ps -p 4242  -o %cpu=,%mem=", "cat /etc/*-release | head -n 1"}),
              spy.commands);
}

TEST_F(PopulateTest, FetchesTheCommandLineASecondTimeForTheTestcase) {
    struct ChangingCommandLine : ScopedFakePlatform {
        int calls = 0;
        std::string commandLine() override {
            return "prog -source run" + std::to_string(++calls) + ".tcl";
        }
    };
    ChangingCommandLine changing;
    changing.fakeInsideVeltra = false;
    manager.populate();
    EXPECT_EQ(2, changing.calls);
    EXPECT_EQ("commandLine[prog -source run1.tcl]", treeText(manager.getTable()[5]));
    EXPECT_EQ("testcase[run2.tcl]", treeText(manager.getTable()[6]));
}

TEST_F(PopulateTest, AProgramsDirectoryThatLooksLikeTheOptionNamesNoTestcase) {
    platform.fakeCommandLine = "/opt/tool-source/bin/prog -mode batch";
    manager.populate();
    EXPECT_EQ("commandLine[prog -mode batch]", treeText(manager.getTable()[5]));
    EXPECT_EQ("testcase[]", treeText(manager.getTable()[6]));
}

TEST_F(PopulateTest, TwiceStillGivesThirteenItemsAndReleasesNoNode) {
    manager.addItem("before", "value");
    manager.populate();
    const std::vector<TableNode*> first = manager.getTable();
    const Texts texts = treeTexts(first);
    platform.fakeProgramName = "another";
    manager.populate();
    EXPECT_EQ(kKeys, keysOf(manager.getTable()));
    EXPECT_EQ("programName[another]", treeText(manager.getTable()[1]));
    EXPECT_EQ(texts, treeTexts(first));
    EXPECT_EQ(8u, spy.commands.size()) << "nothing is cached";
}

TEST_F(PopulateTest, FailingMemoryProbeKeepsTheItemsBefore) {
    expectFailureAt("pmap", 7);
}

TEST_F(PopulateTest, FailingUtilizationProbeKeepsTheItemsBefore) {
    expectFailureAt("ps", 8);
}

TEST_F(PopulateTest, FailingReleaseProbeKeepsTheItemsBefore) {
    expectFailureAt("cat", 10);
}

TEST_F(PopulateTest, OddLineOfTheMemoryTableKeepsTheItemsBefore) {
    spy.files["/proc/meminfo"] = "MemTotal: 1 kB\nMemFree:\n";
    EXPECT_THROW(manager.populate(), std::out_of_range);
    EXPECT_EQ(Texts(kKeys.begin(), kKeys.end() - 1), keysOf(manager.getTable()));
}

TEST_F(PopulateTest, EmptyProbesStillGiveTheirItems) {
    spy.output = [](const std::string&) { return ""; };
    spy.unameFails = true;
    spy.files = {{"/proc/cpuinfo", "processor\t: 0\n"}, {"/proc/meminfo", std::nullopt}};
    manager.populate();
    const Texts items = treeTexts(manager.getTable());
    ASSERT_EQ(kKeys.size(), items.size());
    EXPECT_EQ((Texts{"totalMemoryUsage[]", "memoryUtilization[ %]", "cpuUtilization[ %]",
                     "osInfo[]", "cpuInfo[]", "memInfo"}),
              Texts(items.begin() + 7, items.end()));
}

TEST_F(PopulateTest, FailureOfASecondRunLeavesNoItemOfTheFirst) {
    manager.populate();
    expectFailureAt("pmap", 7);
}

TEST_F(PopulateTest, LinesOfTheMemoryTableAreTakenBeforeTheirTable) {
    manager.populate();
    const TableNode* table = manager.getTable()[12];
    const std::vector<TableNode*>& lines = table->getTreeTable();
    ASSERT_FALSE(lines.empty());
    EXPECT_LT(lines.back(), table);
    EXPECT_LT(manager.getTable()[11], lines.front());
}

TEST_F(PopulateTest, FullArenaGivesAnEmptyReportWithoutFailure) {
    test_support::leaveInArena(0);
    StdoutCapture output;
    manager.populate();
    EXPECT_TRUE(manager.getTable().empty());
    EXPECT_EQ("", output.text());
}

TEST_F(PopulateTest, RealProbesFillEveryItem) {
    spy.output = nullptr;
    platform.fakePid.reset();
    manager.populate();
    ASSERT_EQ(kKeys, keysOf(manager.getTable()));
    for (const int place : {7, 8, 9, 10, 12}) {
        const TableNode* item = manager.getTable()[static_cast<std::size_t>(place)];
        ASSERT_FALSE(item->getTreeTable().empty()) << item->getKey();
        EXPECT_NE("", item->getTreeTable()[0]->getKey()) << item->getKey();
    }
}

// --- appendToMetaData ----------------------------------------------------------------------------

TEST(AppendToMetaDataTest, StackTraceReadsTheLog) {
    TempDir dir;
    writeFile(dir / "log", "# An unexpected error has occurred (11)\nlibzeb_A.so(f()+0x1)[0x1]\n");
    Manager manager;
    EXPECT_TRUE(manager.appendToMetaData("stack-trace", dir / "log"));
    EXPECT_EQ((Texts{"signalNumber[11]", "subSystem[A]", "functionName[f()]",
                     "stacktrace[# An unexpected error has occurred (11), "
                     "libzeb_A.so(f()+0x1)[0x1]]"}),
              treeTexts(manager.getTable()));
}

TEST(AppendToMetaDataTest, ResultIsThatOfTheReader) {
    TempDir dir;
    Manager manager;
    EXPECT_FALSE(manager.appendToMetaData("stack-trace", dir / "missing"));
    EXPECT_TRUE(manager.appendToMetaData("gui-str-dump", dir / "missing"));
    EXPECT_TRUE(manager.getTable().empty());
}

TEST(AppendToMetaDataTest, GuiStrDumpReadsTheDump) {
    TempDir dir;
    writeFile(dir / "dump", "a\nb\n");
    Manager manager;
    EXPECT_TRUE(manager.appendToMetaData("gui-str-dump", dir / "dump"));
    EXPECT_EQ(Texts{"GuiStrDump[a, b]"}, treeTexts(manager.getTable()));
}

TEST(AppendToMetaDataTest, AnyOtherTypeIsIgnored) {
    TempDir dir;
    writeFile(dir / "file", "a\n");
    Manager manager;
    for (const char* type :
         {"", "stack-trac", "stack-traces", "stack-trace ", " stack-trace", "Stack-Trace",
          "stacktrace", "gui-str-dum", "gui-str-dump2", "GuiStrDump", "unknown"})
        EXPECT_TRUE(manager.appendToMetaData(type, dir / "file")) << "'" << type << "'";
    EXPECT_TRUE(manager.getTable().empty());
}

TEST_F(PopulateTest, CompleteReportHasItsKeysInOrder) {
    TempDir dir;
    writeFile(dir / "log", "# An unexpected error has occurred (11)\nlibzeb_A.so(f()+0x1)[0x1]\n");
    writeFile(dir / "dump", "a\n");
    manager.populate();
    manager.appendToMetaData("stack-trace", dir / "log");
    manager.appendToMetaData("gui-str-dump", dir / "dump");
    Texts expected = kKeys;
    for (const char* key :
         {"signalNumber", "subSystem", "functionName", "stacktrace", "GuiStrDump"})
        expected.emplace_back(key);
    EXPECT_EQ(expected, keysOf(manager.getTable()));
}

}  // namespace

// What a report holds that the crash reporter writes.
#include <sys/stat.h>

#include "hcrpt/HCrashRptMetaData.h"
#include "integration/ReportContent.h"
#include "recovery/DeadSession.h"

namespace {

using integration_test::ReportContent;
using recovery_test::kDeadPid;
using recovery_test::kRawTrace;
using test_support::writeFile;
using Texts = std::vector<std::string>;

class RecoveredReportTest : public recovery_test::DeadSessionTest {
  protected:
    RecoveredReportTest() {
        writeRegistrations(std::string("testhost:") + kDeadPid + "\n");
        addTrace(kDeadPid);
    }
    ReportContent report() {
        EXPECT_EQ(HCrashReporter::writeMissingReports(), 1);
        EXPECT_EQ(reports().size(), 1U);
        return ReportContent(store + "/" + reports().at(0));
    }
};

TEST_F(RecoveredReportTest, ItemsAreInTheOrderOfTheProcesssOwnReport) {
    leaveFacts(kDeadPid);
    writeFile(directory / "designer_pid4194305.str", "File\nOpen\n");
    EXPECT_EQ(report().keys(),
              (Texts{"timestamp", "programName", "productVersion", "buildNumber", "buildDate",
                     "commandLine", "testcase", "osInfo", "cpuInfo", "memInfo", "writtenBy",
                     "signalNumber", "subSystem", "functionName", "stacktrace", "GuiStrDump"}));
}

TEST_F(RecoveredReportTest, TellsSignalSubsystemFunctionAndTrace) {
    const ReportContent content = report();
    EXPECT_EQ(content.text("signalNumber"), "6");
    EXPECT_EQ(content.text("subSystem"), "solver");
    EXPECT_EQ(content.text("functionName"), "solver::step()");
    EXPECT_EQ(content.list("stacktrace"),
              (Texts{"#", "# An unexpected error has occurred (6)", "#",
                     "Stack:", "libc.so.6(abort+0xd3)[0x7f3a2c244472]",
                     "libzeb_solver.so(solver::step()+0x1a)[0x7f3a2c1d4e5f]",
                     "designer(main+0x20)[0x55ca40537451]"}));
}

TEST_F(RecoveredReportTest, SaysWhoWroteIt) {
    EXPECT_EQ(report().text("writtenBy"), "crash reporter, after the process had ended");
}

TEST_F(RecoveredReportTest, ItsTimeIsThatOfTheRawTrace) {
    EXPECT_EQ(report().text("timestamp"), "Sun Nov 15 20:12:43 2026");
    EXPECT_EQ(reports(), Texts{kName});
}

TEST_F(RecoveredReportTest, ProgramAndUserAreThoseOfTheProcess) {
    platform.fakeUserName = "hostuser";
    leaveFacts(kDeadPid);
    platform.fakeUserName = "tester";
    platform.fakeProgramName = "crash_reporter";
    platform.fakeCommandLine = "crash_reporter";
    platform.fakeProduct = {};
    const ReportContent content = report();
    EXPECT_EQ(content.text("programName"), "testprogram");
    EXPECT_EQ(content.text("productVersion"), "4.2");
    EXPECT_EQ(content.text("buildNumber"), "4711");
    EXPECT_EQ(content.text("buildDate"), "2026-11-21");
    EXPECT_EQ(content.text("commandLine"), "testprogram -mode batch");
    EXPECT_EQ(content.text("testcase"), "");
    EXPECT_EQ(reports(), Texts{"CrashReport_4194305_testhost_hostuser_20261115T201243.json"});
}

TEST_F(RecoveredReportTest, TheMachineIsThisOne) {
    const ReportContent content = report();
    const HCrashRptMetaData::Manager probes;
    EXPECT_EQ(content.text("osInfo"), probes.extract_osInfo());
    EXPECT_EQ(content.text("cpuInfo"), probes.extract_cpuModel());
    EXPECT_EQ(content.list("memInfo").at(0).rfind("MemTotal : ", 0), 0U);
}

TEST_F(RecoveredReportTest, WithoutFactsTheirItemsAreMissing) {
    EXPECT_EQ(report().keys(), (Texts{"timestamp", "osInfo", "cpuInfo", "memInfo", "writtenBy",
                                      "signalNumber", "subSystem", "functionName", "stacktrace"}));
    EXPECT_EQ(reports(), Texts{kName});
}

TEST_F(RecoveredReportTest, AUserWhoseNameIsAPathDoesNotLeadOutOfTheStore) {
    for (const std::string& name :
         {std::string("../../../../x"), std::string("a\\nb"), std::string(65, 'u')}) {
        std::filesystem::remove(store + "/" + kName);
        addTrace(kDeadPid);  // a new file, which has not been dealt with
        writeFile(factsPath(kDeadPid), "{\"userName\": \"" + name + "\"}");
        report();
        EXPECT_EQ(reports(), Texts{kName});
        std::filesystem::rename(rawTrace(kDeadPid), directory / ("old" + name.substr(0, 1)));
    }
}

TEST_F(RecoveredReportTest, ADumpIsTakenFromTheLaunchDirectoryOnly) {
    writeFile(directory / "secret_pid4194305.str", "secret\n");
    std::filesystem::create_directory(directory / "x");
    writeFile(factsPath(kDeadPid), R"({"productName": "x/../secret"})");
    for (const std::string& key : report().keys()) EXPECT_NE(key, "GuiStrDump");
}

TEST_F(RecoveredReportTest, APipeInTheDumpsPlaceIsNotWaitedFor) {
    leaveFacts(kDeadPid);
    ASSERT_EQ(mkfifo((directory / "designer_pid4194305.str").c_str(), 0600), 0);
    for (const std::string& key : report().keys()) EXPECT_NE(key, "GuiStrDump");
}

TEST_F(RecoveredReportTest, OfATraceThatExhaustsTheArenaTheMarkIsKept) {
    std::string trace = kRawTrace;
    for (int line = 0; line < 2000; ++line) trace += "libzeb_mesh.so(+0x1)[0x2]\n";
    addTrace(kDeadPid, trace);
    const ReportContent content = report();
    EXPECT_EQ(content.text("writtenBy"), "crash reporter, after the process had ended");
    EXPECT_EQ(content.text("functionName"), "solver::step()");
}

TEST_F(RecoveredReportTest, AppearsWholeAndForItsOwnerOnly) {
    report();
    EXPECT_EQ(test_support::modeOf(store + "/" + kName), 0600U);
    EXPECT_EQ(test_support::namesIn(store),
              (Texts{kName, "hs_err_pid4194305.log", "hs_mangled_err_pid4194305.log",
                     "processRegFile.txt"}));
}

}  // namespace

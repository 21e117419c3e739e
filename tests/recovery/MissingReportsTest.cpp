// For which raw traces the crash reporter writes a report.
#include <sys/stat.h>
#include <unistd.h>

#include "facts/ProcessState.h"
#include "hcrpt/HCrashReportMgr.h"
#include "recovery/DeadSession.h"
#include "support/ChildProcess.h"

namespace {

using HCrashReporter::writeMissingReports;
using recovery_test::kDeadPid;
using recovery_test::kOtherDeadPid;
using recovery_test::kStackTraceLog;
using namespace test_support;
using Names = std::vector<std::string>;

class MissingReportsTest : public recovery_test::DeadSessionTest {
  protected:
    MissingReportsTest() { writeRegistrations(record(kDeadPid)); }
    static std::string record(const std::string& pid) { return "testhost:" + pid + "\n"; }
    void expectNone() {
        const StdoutCapture output;
        EXPECT_EQ(writeMissingReports(), 0);
        EXPECT_EQ(output.text(), "");
        EXPECT_EQ(reports(), before);
    }
    Names before;  ///< reports that are there anyway
};

TEST_F(MissingReportsTest, AnEndedProcessWithoutAReportGetsOneAndALineSaysSo) {
    addTrace(kDeadPid);
    const StdoutCapture output;
    EXPECT_EQ(writeMissingReports(), 1);
    EXPECT_EQ(reports(), Names{kName});
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Wrote crash report in place of ended process 4194305: " + store +
                  "/" + kName + "\n");
}

TEST_F(MissingReportsTest, EachProcessGetsItsOwn) {
    writeRegistrations(record(kDeadPid) + "otherhost:1\n" + record(kOtherDeadPid));
    addTrace(kDeadPid);
    addTrace(kOtherDeadPid);
    EXPECT_EQ(writeMissingReports(), 2);
    EXPECT_EQ(reports().size(), 2U);
}

TEST_F(MissingReportsTest, WithoutATraceThereIsNothingToTell) {
    expectNone();
}

TEST_F(MissingReportsTest, WithoutAStoreThereIsNothingToTell) {
    std::filesystem::remove_all(store);
    EXPECT_EQ(writeMissingReports(), 0);
    EXPECT_FALSE(std::filesystem::exists(store));
}

// --- Whose trace it is --------------------------------------------------------------------------

TEST_F(MissingReportsTest, AProcessThatIsNotRegisteredGetsNone) {
    addTrace(kOtherDeadPid);
    expectNone();
}

TEST_F(MissingReportsTest, AProcessThatIsRegisteredLaterGetsOneThen) {
    addTrace(kOtherDeadPid);
    expectNone();
    writeRegistrations(record(kDeadPid) + record(kOtherDeadPid));
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(MissingReportsTest, AProcessOfAnotherMachineGetsNone) {
    writeRegistrations(std::string("otherhost:") + kDeadPid + "\n");
    addTrace(kDeadPid);
    expectNone();
}

TEST_F(MissingReportsTest, ATraceThatMayBeAnotherMachinesGetsNone) {
    writeRegistrations(record(kDeadPid) + "otherhost:" + kDeadPid + "\n");
    addTrace(kDeadPid);
    expectNone();
}

TEST_F(MissingReportsTest, OnlyFilesWithTheNameOfARawTraceCount) {
    writeRegistrations("testhost:x\ntesthost:\ntesthost:../self\ntesthost:4194305.log\n" +
                       record("41943050000"));
    for (const char* pid : {"x", "", "4194305.log", "41943050000"}) addTrace(pid);
    addTrace(std::string(kDeadPid) + "0");
    writeFile(store + "/hs_mangled_err_pid4194305.txt", "");
    expectNone();
}

TEST_F(MissingReportsTest, ALinkIsNoRawTrace) {
    writeFile(directory / "secret", "secret");
    std::filesystem::create_symlink(directory / "secret", rawTrace(kDeadPid));
    expectNone();
}

// --- Whether it has ended -----------------------------------------------------------------------

class RunningProcessTest : public MissingReportsTest {
  protected:
    RunningProcessTest() {
        writeRegistrations(record(pid()));
        addTrace(pid());
        std::timespec now = {};
        clock_gettime(CLOCK_REALTIME, &now);
        recovery_test::setTime(rawTrace(pid()), now);
    }
    std::string pid() const { return std::to_string(process.pid()); }
    static std::timespec startOf(pid_t pid, int seconds) {
        std::timespec time =
            hcrpt::wallClockStart(hcrpt::processState(std::to_string(pid))->startTime).value();
        time.tv_sec += seconds;
        return time;
    }
    ChildProcess process = ChildProcess::exec({"sleep", "60"});
};

TEST_F(RunningProcessTest, GetsNoneUntilItHasEnded) {
    leaveFacts(pid());
    expectNone();
    process.signal(SIGKILL);
    process.wait();
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(RunningProcessTest, GetsNoneWithoutFactsEither) {
    expectNone();
}

TEST_F(RunningProcessTest, HasEndedOnceItOnlyWaitsToBeReaped) {
    process.signal(SIGKILL);
    EXPECT_TRUE(test_support::eventually([&] { return !test_support::isRunning(process.pid()); }));
    ASSERT_TRUE(std::filesystem::exists("/proc/" + pid())) << "it is a zombie";
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(RunningProcessTest, HasTheIdOfAnEndedOneWhenItBeganMoreThanAMinuteAfterTheTrace) {
    leaveFacts(pid());
    recovery_test::setTime(rawTrace(pid()), kCrash);
    EXPECT_EQ(writeMissingReports(), 1);
    const std::string report = readFile(store + "/" + reports().at(0));
    EXPECT_EQ(report.find("\"programName\""), std::string::npos) << "another process's facts";
}

TEST_F(RunningProcessTest, OfAnotherStartTimeHasTheIdOfOneThatHasEnded) {
    recovery_test::setTime(rawTrace(pid()), startOf(process.pid(), -10));
    writeFile(factsPath(pid()), R"({"startTime": "1"})");
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(RunningProcessTest, OfAnotherStartTimeMayHaveLeftANewerTraceItself) {
    writeFile(factsPath(pid()), R"({"startTime": "1"})");
    std::timespec later = {};
    clock_gettime(CLOCK_REALTIME, &later);
    later.tv_sec += 60;
    recovery_test::setTime(rawTrace(pid()), later);
    expectNone();
}

TEST_F(RunningProcessTest, ByDamagedFactsIsTakenForTheRegisteredOne) {
    writeFile(factsPath(pid()), R"({"startTime": "1")");
    expectNone();
}

// --- Whether a report came ----------------------------------------------------------------------

TEST_F(MissingReportsTest, AReportThatWaitsIsEnough) {
    addTrace(kDeadPid);
    before = {"CrashReport_4194305_testhost_other_later.json"};
    addReport(store + "/" + before[0], kCrash);
    expectNone();
}

TEST_F(MissingReportsTest, AReportThatWasFiledIsEnoughWhateverItsOutcome) {
    for (const char* outcome : {"send_success", "send_fail", "send_later"}) {
        const std::string path = backup + "/CrashReport_4194305_testhost_u_later.json." + outcome;
        addTrace(kDeadPid);
        addReport(path, kCrash);
        expectNone();
        std::filesystem::remove(path);
        std::filesystem::rename(rawTrace(kDeadPid), directory / outcome);  // keeps its inode
    }
}

TEST_F(MissingReportsTest, AnOlderReportIsOfAnEarlierProcessOfThatId) {
    addTrace(kDeadPid);
    addReport(store + "/CrashReport_4194305_testhost_u_older.json", kBefore);
    addReport(backup + "/CrashReport_4194305_testhost_u_older.json.send_success", kBefore);
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(MissingReportsTest, AReportOfThatTimeIsEnoughHoweverTheClocksOfTheStoresDiffer) {
    addTrace(kDeadPid);
    addReport(backup + "/" + kName + ".send_success", kBefore);
    expectNone();
}

TEST_F(MissingReportsTest, ReportsOfOthersAreNotEnough) {
    addTrace(kDeadPid);
    addReport(backup + "/CrashReport_41943051_testhost_u_later.json.send_success", kCrash);
    addReport(backup + "/CrashReport_4194305_testhost2_u_later.json.send_success", kCrash);
    addReport(backup + "/CrashReport_4194305_otherhost_u_later.json.send_success", kCrash);
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(MissingReportsTest, AnEmptyReportIsNone) {
    addTrace(kDeadPid);
    addReport(store + "/CrashReport_4194305_testhost_u_later.json", kCrash, "");
    EXPECT_EQ(writeMissingReports(), 1);
}

std::string reportWith(const std::string& log, const std::string& more = "") {
    std::string lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);)
        lines += (lines.empty() ? "\"" : ", \"") + line + "\"";
    return "{" + more + "\"stacktrace\": [" + lines + "]}";
}

// --- A report without a stack, whose process waited for its log in vain -------------------------

class ReportWithoutStackTest : public MissingReportsTest {
  protected:
    ReportWithoutStackTest() {
        addTrace(kDeadPid);
        before = {"CrashReport_4194305_testhost_tester_later.json"};
    }
    void addOwnReport(const std::string& content) const {
        addReport(store + "/" + before[0], kCrash, content);
    }
};

TEST_F(ReportWithoutStackTest, GetsASecondCompleteOneBesideItAndStaysAsItIs) {
    const std::string own = R"({"programName": "designer"})";
    addOwnReport(own);
    EXPECT_EQ(writeMissingReports(), 1);
    EXPECT_EQ(reports(), (Names{kName, before[0]}));
    EXPECT_EQ(readFile(store + "/" + before[0]), own);
    const std::string second = readFile(store + "/" + kName);
    EXPECT_NE(second.find("libzeb_solver.so(solver::step()+0x1a)"), std::string::npos) << second;
    EXPECT_NE(second.find("\"writtenBy\""), std::string::npos) << second;
}

TEST_F(ReportWithoutStackTest, GetsASecondOneWhenItsStackIsEmpty) {
    addOwnReport(R"({"programName": "designer", "stacktrace": []})");
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ReportWithoutStackTest, GetsNoThirdOne) {
    addOwnReport(R"({"programName": "designer"})");
    addReport(backup + "/" + kName + ".send_success", kCrash, R"({"writtenBy": "crash reporter"})");
    EXPECT_EQ(writeMissingReports(), 0);
}

TEST_F(ReportWithoutStackTest, GetsNoSecondOneWhenTheTraceShowsNoFrameEither) {
    addTrace(kDeadPid, "#\n# An unexpected error has occurred (6)\n#\nStack:\n");
    addOwnReport(R"({"programName": "designer"})");
    expectNone();
}

TEST_F(ReportWithoutStackTest, GetsNoSecondOneWhenItCannotBeRead) {
    addOwnReport(R"({"programName": "desi)");
    expectNone();
}

TEST_F(ReportWithoutStackTest, IsNotOneThatShowsItsStack) {
    addOwnReport(reportWith(kStackTraceLog));
    expectNone();
}

class ForkedChildTest : public MissingReportsTest {
  protected:
    ForkedChildTest() { addTrace(kDeadPid); }
    void addChildsReport(const std::string& content, std::timespec time = kCrash,
                         const std::string& host = "testhost") {
        addReport(backup + "/CrashReport_17_" + host + "_u_later.json.send_success", time, content);
    }
};

TEST_F(ForkedChildTest, HasLeftItsTraceUnderItsParentsIdAndItsReportUnderItsOwn) {
    addChildsReport(reportWith(kStackTraceLog));
    expectNone();
}

TEST_F(ForkedChildTest, MayHaveRunOutOfMemoryForTheLastFrames) {
    const std::string log = kStackTraceLog;
    addChildsReport(reportWith(log.substr(0, log.find("designer"))));
    expectNone();
}

TEST_F(ForkedChildTest, HasTheSameFrames) {
    std::string log = kStackTraceLog;
    log.replace(log.find("7f3a2c1d4e5f"), 12, "7f3a2c1d4e60");
    addChildsReport(reportWith(log));
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ForkedChildTest, HasSomeFrames) {
    const std::string log = kStackTraceLog;
    addChildsReport(reportWith(log.substr(0, log.find("libc"))));
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ForkedChildTest, HasWrittenItsReportAfterItsTrace) {
    addChildsReport(reportWith(kStackTraceLog), kBefore);
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ForkedChildTest, IsOfTheSameMachine) {
    addChildsReport(reportWith(kStackTraceLog), kCrash, "otherhost");
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ForkedChildTest, HasWrittenItsReportItself) {
    addChildsReport(reportWith(kStackTraceLog, "\"writtenBy\": \"crash reporter\", "));
    EXPECT_EQ(writeMissingReports(), 1);
}

TEST_F(ForkedChildTest, HasLeftNoBracketsAlone) {
    addChildsReport(std::string(1000000, '['));
    EXPECT_EQ(writeMissingReports(), 1);
}

// --- Once ---------------------------------------------------------------------------------------

TEST_F(MissingReportsTest, ATraceThatHasBeenDealtWithIsNotLookedAtAgain) {
    addTrace(kDeadPid);
    EXPECT_EQ(writeMissingReports(), 1);
    std::filesystem::remove(store + "/" + kName);
    expectNone();
}

TEST_F(MissingReportsTest, ANewTraceOfTheSameIdIsANewCrash) {
    addTrace(kDeadPid);
    EXPECT_EQ(writeMissingReports(), 1);
    recovery_test::setTime(rawTrace(kDeadPid), {kCrash.tv_sec + 1, 0});
    recovery_test::setTime(store + "/" + kName, kCrash);
    EXPECT_EQ(writeMissingReports(), 1);
    EXPECT_EQ(reports(),
              (Names{kName, "CrashReport_4194305_testhost_tester_20261115T201244.json"}));
}

TEST_F(MissingReportsTest, ACrashReporterThatIsStartedAgainFindsTheReport) {
    addTrace(kDeadPid);
    ChildProcess first = ChildProcess::fork([] { return writeMissingReports(); });
    EXPECT_EQ(first.wait(), test_support::exitedWith(1));
    ChildProcess second = ChildProcess::fork([] { return writeMissingReports(); });
    EXPECT_EQ(second.wait(), test_support::exitedWith(0));
    EXPECT_EQ(reports(), Names{kName});
}

TEST_F(MissingReportsTest, AReportThatCannotBeWrittenIsToldOfAndNotTriedAgain) {
    addTrace(kDeadPid);
    platform.onIsWriteable = [](const std::string&) { return false; };
    {
        const StdoutCapture output;
        EXPECT_EQ(writeMissingReports(), 0);
        EXPECT_EQ(output.text(),
                  "[Crash Reporter] Error: file " + store + "/" + kName +
                      " is not writable.\n"
                      "[Crash Reporter] Error: Could not write a crash report in place of ended "
                      "process 4194305.\n");
    }
    platform.onIsWriteable = nullptr;
    expectNone();
}

TEST_F(MissingReportsTest, AHundredReportsDoNotExhaustTheArena) {
    std::string records;
    for (int i = 0; i < 100; ++i) {
        const std::string pid = std::to_string(4194400 + i);
        records += record(pid);
        addTrace(pid);
    }
    writeRegistrations(records);
    EXPECT_EQ(writeMissingReports(), 100);
    for (const std::string& name : reports())
        EXPECT_NE(readFile(store + "/" + name).find("\"stacktrace\": ["), std::string::npos)
            << name;
}

// --- The stack-trace log
// ---------------------------------------------------------------------------

TEST_F(MissingReportsTest, AMissingLogIsMade) {
    addTrace(kDeadPid);
    writeMissingReports();
    EXPECT_EQ(readFile(stackTraceLog(kDeadPid)), kStackTraceLog);
}

TEST_F(MissingReportsTest, ALogThatIsThereIsTaken) {
    addTrace(kDeadPid);
    writeFile(stackTraceLog(kDeadPid), "# An unexpected error has occurred (99)\n");
    writeMissingReports();
    EXPECT_NE(readFile(store + "/" + kName).find("\"signalNumber\": \"99\""), std::string::npos);
}

TEST_F(MissingReportsTest, ALogOfAnEarlierProcessIsMadeAnew) {
    addTrace(kDeadPid);
    writeFile(stackTraceLog(kDeadPid), "# An unexpected error has occurred (99)\n");
    recovery_test::setTime(stackTraceLog(kDeadPid), kBefore);
    writeMissingReports();
    EXPECT_NE(readFile(store + "/" + kName).find("\"signalNumber\": \"6\""), std::string::npos);
}

}  // namespace

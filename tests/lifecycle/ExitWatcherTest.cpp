#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>

#include "lifecycle/Session.h"
#include "support/StdoutCapture.h"

namespace {

using lifecycle_test::kDeadPid;
using std::chrono::seconds;
using std::chrono::steady_clock;
using namespace test_support;

std::string announced(const std::string& record) {
    return "[Crash Reporter] New process registration successfull for <hostname>:<pid> = " +
           record + "\n";
}

class ExitWatcherTest : public lifecycle_test::SessionTest {
  protected:
    const std::string live = "testhost:" + livePid();
    const std::string dead = std::string("testhost:") + kDeadPid;
    const std::string foreign = "otherhost:" + livePid();
};

// --- Whom it waits for ----------------------------------------------------------------------

TEST_F(ExitWatcherTest, WithoutARegistrationFileAndReportsItIsOverAtOnce) {
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    makeStore();
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(ExitWatcherTest, WithoutARegistrationFileAWaitingReportKeepsItGoing) {
    add("CrashReport_1.json");
    EXPECT_FALSE(HCrashReporter::isExitCondition());
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(ExitWatcherTest, ARunningProcessOfThisMachineKeepsItGoing) {
    writeRegistrations(live + "\n");
    EXPECT_FALSE(HCrashReporter::isExitCondition());
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(ExitWatcherTest, DeadProcessesDoNot) {
    writeRegistrations(dead + "\n" + dead + "\n");
    EXPECT_TRUE(HCrashReporter::isExitCondition());
}

TEST_F(ExitWatcherTest, ARunningProcessBehindDeadOnesIsFound) {
    writeRegistrations(dead + "\n" + foreign + "\n" + live + "\n");
    EXPECT_FALSE(HCrashReporter::isExitCondition());
}

TEST_F(ExitWatcherTest, ProcessesOfOtherMachinesAreNeverWaitedFor) {
    writeRegistrations(foreign + "\nTesthost:" + livePid() + "\n");
    EXPECT_TRUE(HCrashReporter::isExitCondition());
}

TEST_F(ExitWatcherTest, WaitingReportsKeepItGoingWhenNoProcessLives) {
    writeRegistrations(dead + "\n");
    add("CrashReport_1.json");
    EXPECT_FALSE(HCrashReporter::isExitCondition());
}

TEST_F(ExitWatcherTest, OnlyFilesThatAreReportsWait) {
    writeRegistrations(dead + "\n");
    add("hs_err_pid1.log");
    add("crashreport_1.json");
    std::filesystem::create_directory(store + "/CrashReport_directory");
    EXPECT_TRUE(HCrashReporter::isExitCondition());
}

TEST_F(ExitWatcherTest, TheProcessIdIsHandedToTheProcessTestAsItIs) {
    struct Case {
        const char* record;
        bool over;
    };
    const Case cases[] = {
        {"testhost:abc", true},
        {"testhost:-1", true},
        {"testhost:1:2", true},
        // On purpose: no text is refused, and /proc/ as well as /proc/self exist.
        {"testhost:", false},
        {"testhost:self", false},
        // Without a colon host name and process id are the same.
        {"testhost", true},
    };
    for (const Case& each : cases) {
        writeRegistrations(std::string(each.record) + "\n");
        EXPECT_EQ(HCrashReporter::isExitCondition(), each.over) << each.record;
    }
}

TEST_F(ExitWatcherTest, RecordsAreWordsNotLines) {
    writeRegistrations(" \t" + dead + " " + foreign + "\r\n\n\t" + live);
    EXPECT_FALSE(HCrashReporter::isExitCondition());
}

// --- Announcements --------------------------------------------------------------------------

TEST_F(ExitWatcherTest, EachRecordIsAnnouncedOnceInTheLog) {
    writeRegistrations(dead + "\n" + dead + "\n");
    HCrashRptUtils::redirectedStdOut = true;
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.flushedText(), announced(dead));
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.text(), announced(dead));
    EXPECT_EQ(HCrashReporter::registeredProcSet.count(dead), 1u);
}

TEST_F(ExitWatcherTest, NothingIsAnnouncedBeforeStandardOutputIsRedirected) {
    writeRegistrations(dead + "\n");
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(HCrashReporter::registeredProcSet.empty());
    HCrashRptUtils::redirectedStdOut = true;
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.text(), announced(dead));
}

TEST_F(ExitWatcherTest, RecordsOfOtherMachinesAreAnnouncedToo) {
    writeRegistrations(foreign + "\nnocolon\n" + dead + "\n");
    HCrashRptUtils::redirectedStdOut = true;
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.flushedText(), announced(foreign) + announced("nocolon") + announced(dead));
}

TEST_F(ExitWatcherTest, ReadingStopsAtARunningProcessSoThatLaterRecordsAreNotAnnouncedYet) {
    writeRegistrations(dead + "\n" + live + "\n" + foreign + "\n");
    HCrashRptUtils::redirectedStdOut = true;
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.flushedText(), announced(dead) + announced(live));
    platform.fakeHostName = "anotherhost";  // for which none of them is waited for
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.flushedText(), announced(dead) + announced(live) + announced(foreign));
}

TEST_F(ExitWatcherTest, AHostNameWithABlankIsReadAsTwoRecords) {
    writeRegistrations("my host:5\n");
    HCrashRptUtils::redirectedStdOut = true;
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(output.text(), announced("my") + announced("host:5"));
}

// --- Waiting for content --------------------------------------------------------------------

TEST_F(ExitWatcherTest, AnEmptyFileCostsFifteenLooksAndIsThenReadAsEmpty) {
    writeRegistrations("");
    pauses.areReal = true;
    StdoutCapture output;
    const auto start = steady_clock::now();
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_GE(steady_clock::now() - start, seconds(15));
    EXPECT_EQ(pauses.seconds, std::vector<long>(15, 1));
    EXPECT_EQ(output.text(), "");
}

TEST_F(ExitWatcherTest, AnEmptyFileDoesNotHideAWaitingReport) {
    writeRegistrations("");
    add("CrashReport_1.json");
    EXPECT_FALSE(HCrashReporter::isExitCondition());
    EXPECT_EQ(pauses.seconds.size(), 15u);
}

TEST_F(ExitWatcherTest, AFileThatCannotBeOpenedCostsFifteenLooksAndIsThenReadAsEmpty) {
    makeStore();
    // A socket is there, but nobody can open it, root neither.
    ASSERT_EQ(mknod(registrations.c_str(), S_IFSOCK | 0600, 0), 0);
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_EQ(pauses.seconds, std::vector<long>(15, 1));
}

TEST_F(ExitWatcherTest, ContentThatArrivesMeanwhileIsNoticedAtTheNextLook) {
    for (const std::size_t arrivesInSleep : {1u, 3u}) {
        writeRegistrations("");
        pauses.seconds.clear();
        pauses.onPause = [&](std::size_t number) {
            if (number == arrivesInSleep) writeRegistrations(live + "\n");
        };
        EXPECT_FALSE(HCrashReporter::isExitCondition());
        EXPECT_EQ(pauses.seconds.size(), arrivesInSleep);
    }
}

TEST_F(ExitWatcherTest, ContentThatArrivesAfterTheLastLookIsStillRead) {
    writeRegistrations("");
    pauses.onPause = [&](std::size_t number) {
        if (number == 15) writeRegistrations(live + "\n");
    };
    EXPECT_FALSE(HCrashReporter::isExitCondition());
    EXPECT_EQ(pauses.seconds.size(), 15u);
}

TEST_F(ExitWatcherTest, AFileOfBlanksHasContentButNoRecords) {
    writeRegistrations("\n \n");
    EXPECT_TRUE(HCrashReporter::isExitCondition());
    EXPECT_TRUE(pauses.seconds.empty());
}

}  // namespace

#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/StoreRestoration.h"
#include "hcrpt/HCrashRptUtils.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::Clock;
using crash_reporter::Log;
using crash_reporter::Records;
using crash_reporter::SessionLock;
using crash_reporter::StoreRestoration;
using crash_reporter::StoreWatch;
using crash_reporter::Time;
using std::chrono::milliseconds;
using std::chrono::seconds;
using test_support::namesIn;
using test_support::readFile;
using test_support::StdoutCapture;
using test_support::writeFile;

class StoreRestorationTest : public crash_reporter_test::StoreScene {
  protected:
    StoreRestorationTest() {
        add("processRegFile.txt", linesOf(living));
        EXPECT_EQ(lock.take(), SessionLock::Outcome::taken);
        EXPECT_TRUE(watch.follow(store));
    }
    static std::string linesOf(const Records& records) {
        std::string text;
        for (const std::string& record : records) text += record + "\n";
        return text;
    }
    /// How often the log says that the store has vanished. The library sends standard output into
    /// the log's file when it makes the first registration file.
    std::size_t announcements() const {
        std::string text = output.text();
        for (const std::string& name : namesIn(sessionDirectory))
            if (name.rfind("crashReporter", 0) == 0)
                text += readFile(sessionDirectory + "/" + name);
        const std::string line =
            "[Crash Reporter] Error: The crash store has vanished from under 2 registered "
            "processes: " +
            store + ". Making it anew.\n";
        std::size_t count = 0;
        for (std::size_t at = 0; (at = text.find(line, at)) != std::string::npos; ++at) ++count;
        return count;
    }
    /// Puts a file in the place of the store, so that it cannot be made.
    void obstruct() const {
        fs::remove_all(store);
        writeFile(store, "in the way");
    }

    const Records living = {recordOf(1), recordOf(getpid())};
    SessionLock lock;
    StoreWatch watch;
    Log log;
    StoreRestoration restoration{lock, watch, log};
    Time now = Clock::now();
    StdoutCapture output;
};

TEST_F(StoreRestorationTest, AStoreInPlaceIsLeftAlone) {
    writeFile(registrations, "");
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_FALSE(restoration.nextTry());
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_EQ(output.text(), "");
}

TEST_F(StoreRestorationTest, AStoreThatHasGoneIsMadeAnewWithTheLivingProcesses) {
    fs::remove_all(store);
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_FALSE(restoration.nextTry());
    EXPECT_EQ(readFile(registrations), linesOf(living));
    EXPECT_TRUE(watch.isInPlace()) << "the new store is not followed";
    EXPECT_EQ(announcements(), 1U);
}

TEST_F(StoreRestorationTest, ARegistrationFileThatHasGoneIsMadeAnewBesideTheOtherFiles) {
    add("hs_err_pid1.log");
    fs::remove(registrations);
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_EQ(readFile(registrations), linesOf(living));
    EXPECT_EQ(namesIn(store), (std::vector<std::string>{"hs_err_pid1.log", "processRegFile.txt"}));
}

TEST_F(StoreRestorationTest, AnotherStoreInItsPlaceGetsTheLivingProcessesAndKeepsItsRecords) {
    fs::rename(store, directory / "away");
    fs::create_directory(store);
    add("processRegFile.txt", "otherhost:1\n");
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_EQ(readFile(registrations), "otherhost:1\n" + linesOf(living));
    EXPECT_TRUE(watch.isInPlace());
}

TEST_F(StoreRestorationTest, ASessionDirectoryThatHasGoneIsMadeAnewWithTheLock) {
    fs::remove_all(sessionDirectory);
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_EQ(readFile(registrations), linesOf(living));
    EXPECT_TRUE(lock.isInPlace());
}

TEST_F(StoreRestorationTest, WithoutLivingProcessesNobodyNeedsTheStore) {
    fs::remove_all(store);
    EXPECT_TRUE(restoration.restore({}, now));
    EXPECT_FALSE(fs::exists(store));
    EXPECT_FALSE(restoration.nextTry());
    EXPECT_EQ(output.text(), "");
}

TEST_F(StoreRestorationTest, WhatCannotBeRestoredIsTriedAfterPausesThatGrowUpToAMinute) {
    obstruct();
    for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        EXPECT_TRUE(restoration.restore(living, now));
        ASSERT_EQ(restoration.nextTry(), now + seconds(pause));
        EXPECT_TRUE(restoration.restore(living, *restoration.nextTry() - milliseconds(1)));
        ASSERT_EQ(restoration.nextTry(), now + seconds(pause)) << "tried within the pause";
        now = *restoration.nextTry();
    }
    EXPECT_EQ(announcements(), 1U);
    fs::remove(store);
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_FALSE(restoration.nextTry());
    EXPECT_EQ(readFile(registrations), linesOf(living));
}

TEST_F(StoreRestorationTest, OnceTheStoreIsThereAgainPausesBeginAgainAndItIsAnnouncedAgain) {
    for (std::size_t round = 1; round <= 2; ++round) {
        obstruct();
        for (const int pause : {1, 2}) {
            EXPECT_TRUE(restoration.restore(living, now));
            ASSERT_EQ(restoration.nextTry(), now + seconds(pause)) << "round " << round;
            now = *restoration.nextTry();
        }
        EXPECT_EQ(announcements(), round);
        fs::remove(store);
        EXPECT_TRUE(restoration.restore(living, now));
        EXPECT_TRUE(restoration.restore(living, now)) << "finds it in place";
    }
}

TEST_F(StoreRestorationTest, IsTriedAgainWhileAHostHoldsTheLockOfTheRegistrationFile) {
    fs::rename(store, directory / "away");
    fs::create_directory(store);
    add("processRegFile.txt", "");
    const int host = HCrashRptUtils::fileOpen(registrations);
    ASSERT_EQ(HCrashRptUtils::fileLock(host, "LOCK_EX|LOCK_NB"), 0);
    EXPECT_TRUE(restoration.restore(living, now));
    for (const int pause : {1, 2}) {
        ASSERT_EQ(restoration.nextTry(), now + seconds(pause));
        now = *restoration.nextTry();
        if (pause == 1) {
            EXPECT_TRUE(restoration.restore(living, now));
        }
    }
    HCrashRptUtils::fileClose(host);
    EXPECT_TRUE(restoration.restore(living, now));
    EXPECT_EQ(readFile(registrations), linesOf(living));
    EXPECT_FALSE(restoration.nextTry());
    EXPECT_EQ(announcements(), 1U);
}

TEST_F(StoreRestorationTest, WhenTheLastLivingProcessHasEndedNothingIsTriedAnyMore) {
    obstruct();
    EXPECT_TRUE(restoration.restore(living, now));
    ASSERT_TRUE(restoration.nextTry());
    EXPECT_TRUE(restoration.restore({}, now));
    EXPECT_FALSE(restoration.nextTry());
}

TEST_F(StoreRestorationTest, ALockThatHasGoneIsTakenAgain) {
    fs::remove(sessionDirectory + "/reporter.lock");
    EXPECT_TRUE(restoration.restore({}, now));
    EXPECT_TRUE(lock.isInPlace());
}

TEST_F(StoreRestorationTest, ALockThatAnotherCrashReporterHasTakenEndsTheService) {
    fs::remove(sessionDirectory + "/reporter.lock");
    SessionLock other;
    ASSERT_EQ(other.take(), SessionLock::Outcome::taken);
    fs::remove_all(store);
    EXPECT_FALSE(restoration.restore(living, now));
    EXPECT_FALSE(fs::exists(store)) << "it is the other one's now";
}

}  // namespace

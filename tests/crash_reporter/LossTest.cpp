// Nothing is lost where places fail: stores that vanish, fill up or cannot be written to.
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "ServedSession.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using namespace test_support;

class LossTest : public testing::Test, protected ServedHost {
  protected:
    bool isRegisteredAgain() const { return session.isRegistered(host.pid()); }
};

// --- Files of a strange kind --------------------------------------------------------------------

// Only their owner can put them there; opening one waits for somebody who writes into it.
TEST_F(LossTest, NamedPipesHoldNothingUp) {
    ChildProcess reporter = serve();
    for (const char* name : {"hs_mangled_err_pid1.log", "CrashReport_1.json"})
        ASSERT_EQ(mkfifo((session.store + "/" + name).c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_TRUE(isReadable(addRawTrace(2)));
    session.addReport("CrashReport_2.json", "{}");
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
    EXPECT_EQ(delivered(), (std::map<std::string, int>{{"CrashReport_2.json", 1}}));
}

// --- A store that vanishes ----------------------------------------------------------------------

TEST_F(LossTest, AStoreThatVanishesIsMadeAnewWithTheLivingProcesses) {
    ChildProcess reporter = serve();
    fs::remove_all(session.store);
    EXPECT_TRUE(isRegisteredAgain());
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    session.addReport("CrashReport_1.json", "{}");
    EXPECT_TRUE(isStoreEmptyOfReports());
    EXPECT_EQ(fs::status(session.store).permissions(), fs::perms::owner_all);
    expectLeaves(reporter);
    EXPECT_EQ(timesIn(session.log(reporter.pid()),
                      "[Crash Reporter] Error: The crash store has vanished from under 1 "
                      "registered processes: " +
                          session.store + ". Making it anew.\n"),
              1U);
}

TEST_F(LossTest, AStoreThatIsReplacedByAnotherIsFollowedThere) {
    ChildProcess reporter = serve();
    fs::rename(session.store, session.directory / "away");
    EXPECT_TRUE(isRegisteredAgain());
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    expectLeaves(reporter);
}

TEST_F(LossTest, ASessionDirectoryThatVanishesIsMadeAnewWithLogAndLock) {
    ChildProcess reporter = serve();
    fs::rename(session.work + "/.crashReporter", session.directory / "away");
    EXPECT_TRUE(isRegisteredAgain());
    EXPECT_TRUE(session.isLogged(reporter.pid(), "The crash store has vanished from under 1 "));
    ChildProcess second = session.startReporter();
    EXPECT_EQ(second.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(second.pid()), kServedByAnother), 1U);
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    expectLeaves(reporter);
}

// While it is removed the crash reporter already makes the first parts anew.
TEST_F(LossTest, OneReporterIsLeftWhereASessionDirectoryIsRemovedPieceByPiece) {
    ChildProcess reporter = serve();
    std::error_code notEmpty;
    fs::remove_all(session.work + "/.crashReporter", notEmpty);
    ChildProcess second = session.startReporter();
    EXPECT_TRUE(isRegisteredAgain());
    EXPECT_TRUE(session.eventually([&] { return reporter.hasEnded() || second.hasEnded(); }));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    expectLeaves(reporter);
    EXPECT_EQ(second.wait(session.timeLeft()), exitedWith(0));
}

// The second one begins with an empty session, in which nobody is registered.
TEST_F(LossTest, OneThatIsSupersededHandsTheLivingProcessesOver) {
    ChildProcess reporter = serve();
    reporter.signal(SIGSTOP);
    fs::rename(session.work + "/.crashReporter", session.directory / "away");
    ChildProcess second = session.startReporter();
    EXPECT_TRUE(session.isLogged(second.pid(), "Created Process registration file"));
    reporter.signal(SIGCONT);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_TRUE(session.isLogged(second.pid(), CrashSession::recordOf(host.pid())));
    expectLeaves(second);
}

TEST_F(LossTest, AStoreThatCannotBeMadeAnewIsTriedAgainNowAndThen) {
    ChildProcess reporter = serve();
    ASSERT_TRUE(obstructStore());
    EXPECT_FALSE(reporter.hasEnded());
    fs::remove(session.store);
    EXPECT_TRUE(isRegisteredAgain());
    expectLeaves(reporter);
}

// --- Places that reports cannot be filed in -----------------------------------------------------

TEST_F(LossTest, WithoutABackupStoreReportsAreKeptUntilThereIsOne) {
    writeFile(session.backup, "in the way");
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = serve();
    const std::string line =
        "[Crash Reporter] Error: Sending no reports: nothing can be written to backup store " +
        session.backup;
    EXPECT_TRUE(session.isLogged(reporter.pid(), line));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_TRUE(started().empty());
    EXPECT_EQ(timesIn(session.log(reporter.pid()), line), 1U);
    EXPECT_EQ(session.inStore("CrashReport_").size(), 1U);
    fs::remove(session.backup);
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
    EXPECT_EQ(session.filed(), std::vector<std::string>{"CrashReport_1.json.send_success"});
    EXPECT_EQ(fs::status(session.backup).permissions(), fs::perms::owner_all);
}

/// Places on small file systems that only this test and its children see.
class MountedLossTest : public LossTest {
  protected:
    static bool mountAt(const std::string& place, const std::string& options) {
        return unshare(CLONE_NEWNS) == 0 &&
               mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("tmpfs", place.c_str(), "tmpfs", 0, options.c_str()) == 0;
    }
};

TEST_F(MountedLossTest, OnAFullDiskReportsAreKeptUntilThereIsRoom) {
    fs::create_directory(session.backup);
    if (!mountAt(session.backup, "size=256k")) GTEST_SKIP() << "needs the right to mount";
    writeFile(session.backup + "/filler", std::string(200 << 10, 'x'));
    const std::string content(100000, 'r');
    session.addReport("CrashReport_1.json", content);
    ChildProcess reporter = serve();
    EXPECT_TRUE(session.isLogged(reporter.pid(),
                                 "[Crash Reporter] Error: Sending no reports: no "
                                 "room is left in backup store " +
                                     session.backup));
    EXPECT_TRUE(started().empty());
    fs::remove(session.backup + "/filler");
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
    EXPECT_EQ(readFile(session.backup + "/CrashReport_1.json.send_success"), content);
    umount(session.backup.c_str());
}

TEST_F(MountedLossTest, ReportsOfAReadOnlyStoreAreNotSentOverAndOver) {
    if (!mountAt(session.store, "size=1m,mode=700")) GTEST_SKIP() << "needs the right to mount";
    session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    writeFile(session.store + "/CrashReport_1.json", "{}");
    ASSERT_EQ(mount(nullptr, session.store.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    ChildProcess reporter = serve();
    EXPECT_TRUE(session.isLogged(reporter.pid(),
                                 "[Crash Reporter] Error: Sending no reports: "
                                 "nothing can be removed from crash store " +
                                     session.store + " (Read-only file system)"));
    EXPECT_TRUE(started().empty());
    ASSERT_EQ(mount(nullptr, session.store.c_str(), nullptr, MS_REMOUNT, nullptr), 0);
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
    EXPECT_EQ(delivered(), (std::map<std::string, int>{{"CrashReport_1.json", 1}}));
    umount(session.store.c_str());
}

TEST_F(MountedLossTest, AReadableLogThatFindsNoPlaceIsWrittenWhenThereIsOne) {
    if (!mountAt(session.store, "nr_inodes=4")) GTEST_SKIP() << "needs the right to mount";
    session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    const std::string raw = session.store + "/hs_mangled_err_pid1.log";
    writeFile(raw, "line\n");
    writeFile(session.store + "/filler", "");
    ChildProcess reporter = serve();
    const std::string line =
        "[Crash Reporter] Error: Could not write the readable log of " + raw + ", trying again";
    EXPECT_TRUE(session.isLogged(reporter.pid(), line));
    fs::remove(session.store + "/filler");
    EXPECT_TRUE(isReadable(session.store + "/hs_err_pid1.log"));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), line), 1U);
    expectLeaves(reporter);
    umount(session.store.c_str());
}

// The new report has nothing to do with the trouble of the one that somebody has removed.
TEST_F(LossTest, WhenNoReportWaitsAnyMoreAnObstacleIsAnnouncedAgain) {
    writeFile(session.backup, "in the way");
    ChildProcess reporter = serve();
    for (std::size_t round = 1; round <= 2; ++round) {
        const std::string report = session.addReport("CrashReport_1.json", "{}");
        EXPECT_TRUE(session.eventually([&] {
            return timesIn(session.log(reporter.pid()), "Error: Sending no reports: ") == round;
        })) << round;
        fs::remove(report);
        // A round that finds no report.
        EXPECT_TRUE(isReadable(addRawTrace(static_cast<int>(round))));
    }
    expectLeaves(reporter);
}

// --- A log that grows ---------------------------------------------------------------------------

TEST_F(LossTest, ALogThatHasGrownTooLargeBecomesTheOlderGeneration) {
    ChildProcess reporter = serve();
    const std::string log = session.logPath(reporter.pid());
    std::ofstream(log, std::ios::app) << std::string(5 << 20, 'x') << std::endl;
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_TRUE(session.eventually([&] { return fs::exists(log + ".old"); }));
    EXPECT_TRUE(session.isLogged(reporter.pid(), " goes on, at time = "));
    expectLeaves(reporter);
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kLeaving), 1U);
}

// --- Moves that were interrupted ----------------------------------------------------------------

TEST_F(LossTest, AReportThatIsFiledAlreadyIsNotSentAgain) {
    fs::create_directory(session.backup);
    writeFile(session.backup + "/CrashReport_1.json.send_success", "{1}");
    writeFile(session.backup + "/CrashReport_2.json.send_success", "{other}");
    const std::string report = session.addReport("CrashReport_1.json", "{1}");
    session.addReport("CrashReport_2.json", "{2}");
    ChildProcess reporter = serve();
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
    EXPECT_EQ(delivered(), (std::map<std::string, int>{{"CrashReport_2.json", 1}}));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), "Removed crash report " + report), 1U);
    EXPECT_EQ(readFile(session.backup + "/CrashReport_2.json.send_success"), "{2}");
}

}  // namespace

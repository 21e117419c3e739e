// The crash reporter wakes up when there is work, and rarely otherwise.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "HUTEnv.h"
#include "ServedSession.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using std::chrono::seconds;
using test_support::writeFile;

// --- Rarely otherwise ---------------------------------------------------------------------------

class SleepTest : public testing::Test, protected ServedHost {
  protected:
    static long sleepsIn(seconds time, const ChildProcess& reporter) {
        const long before = sleepsOf(reporter.pid());
        std::this_thread::sleep_for(time);
        EXPECT_TRUE(isCrashReporter(reporter.pid())) << "has ended";
        return sleepsOf(reporter.pid()) - before;
    }
    /// Rounds of work may follow after pauses, but not without any.
    static void expectNoSpin(const ChildProcess& reporter) {
        EXPECT_LE(sleepsIn(seconds(3), reporter), 60);
    }
};

TEST_F(SleepTest, OnlyTheRegularPollWakesItWhileNothingHappens) {
    ChildProcess reporter = serve();
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    std::this_thread::sleep_for(seconds(1));  // for what its start has brought about
    EXPECT_LE(sleepsIn(seconds(12), reporter), 6) << "twelve polls a second apart would be more";
#if !defined(__SANITIZE_ADDRESS__) && !defined(HCRPT_COVERAGE)
    EXPECT_LT(residentKiB(reporter.pid()), 10 * 1024);
#endif
    expectLeaves(reporter);
}

TEST_F(SleepTest, AnEndedHostThatItsParentDoesNotReapIsNoReasonToSpin) {
    ChildProcess reporter = serve();
    host.signal(SIGKILL);
    EXPECT_LE(sleepsIn(seconds(4), reporter), 20);
    EXPECT_FALSE(reporter.hasEnded()) << "the host is still in the process table";
    host.wait();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

TEST_F(SleepTest, NamedPipesAreNoReasonToSpin) {
    ChildProcess reporter = serve();
    for (const char* name : {"hs_mangled_err_pid1.log", "CrashReport_1.json"})
        ASSERT_EQ(mkfifo((session.store + "/" + name).c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_TRUE(isReadable(addRawTrace(2)));
    expectNoSpin(reporter);
    expectLeaves(reporter);
}

TEST_F(SleepTest, AStoreThatCannotBeMadeAnewIsNoReasonToSpin) {
    ChildProcess reporter = serve();
    ASSERT_TRUE(obstructStore());
    expectNoSpin(reporter);
    expectLeaves(reporter);
}

TEST_F(SleepTest, ReportsThatCannotBeFiledAreNoReasonToSpin) {
    writeFile(session.backup, "in the way");
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = serve();
    EXPECT_TRUE(session.isLogged(reporter.pid(), "Error: Sending no reports: "));
    expectNoSpin(reporter);
    fs::remove(session.backup);
    EXPECT_TRUE(isStoreEmptyOfReports());
    expectLeaves(reporter);
}

// --- When there is work -------------------------------------------------------------------------

/// Six times something for which a crash reporter that nothing wakes would need its regular poll:
/// all together that takes longer than a session of the tests may.
constexpr int kTimes = 6;

class WakeUpTest : public testing::Test, protected ServedHost {};

TEST_F(WakeUpTest, ATraceWakesIt) {
    ChildProcess reporter = serve();
    for (int pid = 1; pid <= kTimes; ++pid) ASSERT_TRUE(isReadable(addRawTrace(pid))) << pid;
    expectLeaves(reporter);
}

TEST_F(WakeUpTest, TheEndOfAPassWakesIt) {
    ChildProcess reporter = serve();
    for (int round = 0; round < kTimes; ++round) {
        holdUploads();
        session.addReport("CrashReport_1_" + std::to_string(round), "{}");
        ASSERT_TRUE(session.eventually(
            [&] { return started().size() == 2U * static_cast<std::size_t>(round) + 1; }));
        session.addReport("CrashReport_2_" + std::to_string(round), "{}");
        release();
        ASSERT_TRUE(isStoreEmptyOfReports()) << round;
    }
    expectLeaves(reporter);
}

TEST_F(WakeUpTest, TheEndOfAProcessWakesIt) {
    ChildProcess reporter = serve();
    for (int round = 0; round < kTimes; ++round) {
        ChildProcess other = registerHost();
        const std::string facts = session.store + "/.processfacts_" + HUTEnv::getHostName() + "_" +
                                  std::to_string(other.pid());
        writeFile(facts, "facts");
        // The round that demangles the second trace comes after one that has read the record.
        for (const int pid : {1, 2}) ASSERT_TRUE(isReadable(addRawTrace(10 * round + pid)));
        end(other);
        ASSERT_TRUE(session.eventually([&] { return !fs::exists(facts); })) << round;
    }
    expectLeaves(reporter);
}

TEST_F(WakeUpTest, TheEndOfAPauseAfterAnObstacleWakesIt) {
    ChildProcess reporter = serve();
    for (std::size_t round = 1; round <= kTimes; ++round) {
        fs::remove_all(session.backup);
        writeFile(session.backup, "in the way");
        session.addReport("CrashReport_1.json", "{}");
        ASSERT_TRUE(session.eventually([&] {
            return timesIn(session.log(reporter.pid()), "Error: Sending no reports: ") == round;
        })) << round;
        fs::remove(session.backup);
        ASSERT_TRUE(isStoreEmptyOfReports()) << round;
    }
    expectLeaves(reporter);
}

// --- Waits --------------------------------------------------------------------------------------

TEST(TimeToRegisterTest, BeginsAnewWithAFreshStore) {
    ServedSession served;
    CrashSession& session = served.session;
    session.writeRegistrations(CrashSession::recordOf(kDeadPid) + "\n");
    served.holdUploads();
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(served.areUploading(1));
    std::this_thread::sleep_for(seconds(3));
    const auto beforeReplacement = std::chrono::steady_clock::now();
    served.release();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_GE(std::chrono::steady_clock::now() - beforeReplacement, seconds(15));
}

}  // namespace

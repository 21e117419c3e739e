// What an earlier session has left is delivered before its store is replaced, and a host that
// begins meanwhile is not forgotten.
#include <chrono>
#include <fstream>

#include "ServedSession.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using test_support::readFile;

/// The upload of an earlier session's report hangs until release().
class EarlierSessionTest : public testing::Test, protected ServedSession {
  protected:
    void SetUp() override { ASSERT_TRUE(areUploading(1)); }

    static std::string deadRecord() { return CrashSession::recordOf(kDeadPid) + "\n"; }
    ChildProcess startOver() {
        session.writeRegistrations(deadRecord());
        holdUploads();
        session.addReport("CrashReport_1.json", "{}");
        return session.startReporter();
    }
    bool isReplaced() const {
        return session.isLogged(reporter.pid(), "Deleted the crash store of an earlier session.");
    }
    std::size_t replacements() const {
        return timesIn(session.log(reporter.pid()), "Deleted the crash store");
    }

    ChildProcess reporter = startOver();
};

TEST_F(EarlierSessionTest, IsGoneThroughBeforeItsStoreIsDeleted) {
    EXPECT_EQ(readFile(session.registrations), deadRecord());
    release();
    EXPECT_TRUE(session.isLogged(reporter.pid(), "Created Process registration file"));
    EXPECT_TRUE(isReplaced());
    EXPECT_EQ(delivered(), (std::map<std::string, int>{{"CrashReport_1.json", 1}}));
    EXPECT_EQ(readFile(session.registrations), "");
    EXPECT_FALSE(fs::exists(session.sessionDirectory + "/.crashStore.old"));
}

TEST_F(EarlierSessionTest, ItsStoreStaysWhenAHostRegistersInItMeanwhile) {
    ChildProcess host = registerHost();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    release();
    EXPECT_TRUE(session.eventually([this] { return reporters() == 1; })) << "the pass still runs";
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_TRUE(isReadable(addRawTrace(2))) << "what follows a pass comes before the next trace";
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(replacements(), 0U);
}

// isExitCondition() would wait fifteen seconds for a first record, and crashes with it.
TEST_F(EarlierSessionTest, ItsStoreStaysWhenSomebodyHasEmptiedTheRegistrationFile) {
    session.writeRegistrations("");
    release();
    EXPECT_TRUE(session.eventually([this] { return reporters() == 1; })) << "the pass still runs";
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_TRUE(isReadable(addRawTrace(2))) << "what follows a pass comes before the next trace";
    EXPECT_EQ(replacements(), 0U);
}

// A host that has opened the file waits up to three seconds for its lock.
TEST_F(EarlierSessionTest, ARecordThatReachesTheReplacedRegistrationFileIsCarriedOver) {
    std::ofstream file(session.registrations, std::ios::app);
    ChildProcess host = ChildProcess::exec({"sleep", "60"});
    const std::string record = CrashSession::recordOf(host.pid());
    release();
    ASSERT_TRUE(isReplaced());
    file << record << std::endl;
    EXPECT_TRUE(session.isLogged(reporter.pid(), "[Crash Reporter] Carried the registration of " +
                                                     record + " over into the new file.\n"));
    EXPECT_TRUE(session.isRegistered(host.pid()));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

TEST_F(EarlierSessionTest, NobodyLeavesWhileARecordMayStillHaveToBeCarriedOver) {
    const auto beforeReplacement = std::chrono::steady_clock::now();
    release();
    ASSERT_TRUE(isReplaced());
    session.writeRegistrations(deadRecord());
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_GE(std::chrono::steady_clock::now() - beforeReplacement, std::chrono::seconds(5));
}

// Each trace would wait for the regular poll, and all together for longer than the test may take.
TEST_F(EarlierSessionTest, TheFreshStoreIsFollowed) {
    release();
    ASSERT_TRUE(isReplaced());
    for (int pid = 1; pid <= 6; ++pid) ASSERT_TRUE(isReadable(addRawTrace(pid))) << pid;
}

class InterruptedReplacementTest : public testing::Test, protected ServedHost {};

TEST_F(InterruptedReplacementTest, LivingHostsOfTheOldStoreAreRegisteredInTheNewOne) {
    const std::string aside = session.sessionDirectory + "/.crashStore.old";
    fs::rename(session.store, aside);
    std::ofstream(aside + "/processRegFile.txt", std::ios::app)
        << CrashSession::recordOf(kDeadPid) << '\n';
    session.writeRegistrations("");
    ChildProcess reporter = serve();
    EXPECT_EQ(readFile(session.registrations), CrashSession::recordOf(host.pid()) + "\n");
    EXPECT_FALSE(fs::exists(aside));
    expectLeaves(reporter);
}

}  // namespace

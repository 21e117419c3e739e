// Records whose process id belongs to another process now, or that have none.
#include <unistd.h>

#include <fstream>
#include <string>

#include "ServedSession.h"

namespace {

using namespace crash_reporter_test;
using test_support::writeFile;

class StaleRecordsTest : public testing::Test, protected ServedSession {
  protected:
    /// This test's own process, which runs, registered before the last restart of the machine.
    std::string addRecordOfAnEarlierBoot() const {
        const std::string record = CrashSession::recordOf(getpid());
        std::string facts = record;
        facts[facts.find(':')] = '_';
        writeFile(session.store + "/.processfacts_" + facts, R"({"bootId": "an earlier one"})");
        return record + "\n";
    }
    /// Without an id the whole /proc directory answers for the process.
    static std::string recordWithoutId() {
        const std::string record = CrashSession::recordOf(1);
        return record.substr(0, record.find(':') + 1) + "\n";
    }
};

TEST_F(StaleRecordsTest, DoNotKeepTheCrashReporter) {
    session.makeStore();
    session.writeRegistrations(addRecordOfAnEarlierBoot() + recordWithoutId());
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kLeaving), 1U);
}

TEST_F(StaleRecordsTest, OfAnEarlierSessionDoNotKeepItsStore) {
    session.makeStore();
    session.writeRegistrations(addRecordOfAnEarlierBoot());
    const std::string trace = session.add("hs_mangled_err_pid1.log");
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_FALSE(std::filesystem::exists(trace));
    EXPECT_EQ(timesIn(session.log(reporter.pid()),
                      "[Crash Reporter] Deleted the crash store of an earlier session.\n"),
              1U);
}

TEST_F(StaleRecordsTest, ButAWaitingReportDoes) {
    holdUploads();
    session.makeStore();
    session.writeRegistrations(recordWithoutId());
    ChildProcess reporter = session.startReporter();
    session.addReport("CrashReport_1.json", "{}");
    ASSERT_TRUE(areUploading(1));
    EXPECT_FALSE(reporter.hasEnded());
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

TEST_F(StaleRecordsTest, AreLeftAloneWhileARegisteredProcessRuns) {
    session.makeStore();
    // Behind the living process's: records are announced up to the first that seems to run.
    ChildProcess host = registerHost();
    std::ofstream(session.registrations, std::ios::app) << recordWithoutId();
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

}  // namespace

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
    static constexpr char kFresh[] =
        "[Crash Reporter] Only records of other processes were left, made a fresh crash store.\n";
};

TEST_F(StaleRecordsTest, DoNotKeepTheCrashReporter) {
    session.makeStore();
    session.writeRegistrations(addRecordOfAnEarlierBoot() + recordWithoutId());
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kFresh), 1U);
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kLeaving), 1U);
}

TEST_F(StaleRecordsTest, AreLeftAloneWhileARegisteredProcessRuns) {
    session.makeStore();
    // Behind the living process's: records are announced up to the first that seems to run.
    ChildProcess host = registerHost();
    std::ofstream(session.registrations, std::ios::app) << recordWithoutId();
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kFresh), 0U);
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kFresh), 1U);
}

}  // namespace

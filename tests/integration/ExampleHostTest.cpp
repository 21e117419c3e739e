// What the example host shows to integrators: registered, switched off, without a crash reporter.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "integration/CrashSession.h"

namespace {

using integration_test::CrashSession;
using integration_test::kDeadPid;
using integration_test::timesIn;
using namespace test_support;

class ExampleHostTest : public testing::Test {
  protected:
    static std::string announcementOf(const std::string& record) {
        return "[Crash Reporter] New process registration successfull for <hostname>:<pid> = " +
               record + "\n";
    }
    CrashSession session;
};

TEST_F(ExampleHostTest, IsRegisteredInAFreshSession) {
    ChildProcess host = session.startHost({"-wait", "2"});
    const pid_t reporter = session.reporterPid();
    EXPECT_TRUE(session.isLogged(reporter, announcementOf(CrashSession::recordOf(host.pid()))));
    EXPECT_EQ(test_support::readFile(session.registrations),
              CrashSession::recordOf(host.pid()) + "\n");
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
}

TEST_F(ExampleHostTest, IsRegisteredWhereAnEarlierSessionHasLeftItsRecords) {
    const std::string dead = CrashSession::recordOf(kDeadPid);
    session.writeRegistrations(dead + "\n");
    ChildProcess host = session.startHost({"-wait", "2"});
    const pid_t reporter = session.reporterPid();
    EXPECT_TRUE(session.isLogged(reporter, announcementOf(CrashSession::recordOf(host.pid()))));
    EXPECT_TRUE(session.isLogged(reporter, announcementOf(dead)));
    EXPECT_TRUE(session.goesOn(reporter));
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
}

TEST_F(ExampleHostTest, SwitchedOffNothingIsStartedOrWritten) {
    const rlimit noCore = {};
    setrlimit(RLIMIT_CORE, &noCore);
    session.environment["CRPT_OFF"] = "true";
    ChildProcess host = session.startHost({"-crash", "null-write"});
    EXPECT_EQ(host.wait(session.timeLeft()), killedBy(SIGSEGV));
    EXPECT_EQ(host.standardOutput(),
              "example_host: process " + std::to_string(host.pid()) + ", crash reporting is off\n");
    EXPECT_TRUE(session.processes().empty());
    EXPECT_TRUE(namesIn(session.work).empty());
    EXPECT_TRUE(namesIn(session.directory / "appdata").empty());
    EXPECT_TRUE(namesIn(session.directory / "tmp").empty());
}

TEST_F(ExampleHostTest, GoesOnAndLeavesNoCopyWhenTheCrashReporterCannotBeExecuted) {
    session.replaceProgram("crash_reporter", "#!/no/such/interpreter\n");
    ChildProcess host = session.startHost({"-wait", "1"});
    const std::string started =
        "example_host: process " + std::to_string(host.pid()) + ", crash reporting is on\n";
    ASSERT_TRUE(session.eventually([&] { return host.standardOutput() == started; }));
    EXPECT_EQ(session.processes(), std::vector<pid_t>{host.pid()});
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(host.standardOutput(), started);
    EXPECT_EQ(host.standardError(), "");

    // The copy that has ended is left to its parent, which never asks, and then to this process.
    int status = 0;
    ASSERT_GT(waitpid(-1, &status, WNOHANG), 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 127);
    EXPECT_EQ(waitpid(-1, &status, WNOHANG), -1) << "another process is left";
    EXPECT_TRUE(namesIn(session.work).empty());
}

TEST_F(ExampleHostTest, GoesOnWithoutTheCrashReporterProgram) {
    session.removeProgram("crash_reporter");
    ChildProcess host = session.startHost({});
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(host.standardOutput(),
              "example_host: process " + std::to_string(host.pid()) + ", crash reporting is on\n");
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
    EXPECT_TRUE(namesIn(session.work).empty());
}

}  // namespace

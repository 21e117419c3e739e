// One crash reporter per session, and always one where a registered process runs.
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <list>

#include "ServedSession.h"
#include "support/MissingSystemCall.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using test_support::writeFile;

class OnceTest : public testing::Test, protected ServedSession {};

TEST_F(OnceTest, ASecondOneLeavesAndSaysWhy) {
    ChildProcess host = registerHost();
    ChildProcess first = session.startReporter();
    EXPECT_TRUE(session.isLogged(first.pid(), CrashSession::recordOf(host.pid())));
    ChildProcess second = session.startReporter();
    EXPECT_EQ(second.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(second.pid()), kServedByAnother), 1U);
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(first.wait(session.timeLeft()), exitedWith(0));
}

// Some network file systems have none; a crash reporter more is better than none.
TEST_F(OnceTest, WithoutFileLocksItServesAndSaysSo) {
    ChildProcess host = registerHost();
    ChildProcess reporter = session.startReporter([] {
        if (!test_support::takeAwaySystemCall(SYS_flock)) _exit(126);
    });
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(reporter.pid()),
                      "[Crash Reporter] Error: Could not lock " + session.sessionDirectory +
                          "/reporter.lock, so another crash reporter of this session would "
                          "not be noticed.\n"),
              1U);
}

TEST_F(OnceTest, OneThatWasKilledIsSucceeded) {
    ChildProcess host = registerHost();
    holdUploads();
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess first = session.startReporter();
    ASSERT_TRUE(areUploading(1));
    first.signal(SIGKILL);
    first.wait(session.timeLeft());
    // Its pass has ended with it, though the tool still runs.
    ChildProcess second = session.startReporter();
    EXPECT_TRUE(session.isLogged(second.pid(), CrashSession::recordOf(host.pid())));
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(second.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.filed(), std::vector<std::string>{"CrashReport_1.json.send_success"});
}

// As if it had crashed between copying the report and removing it.
TEST_F(OnceTest, AReportThatAPassHadFiledWhenItCrashedIsNotSentAgain) {
    ChildProcess host = registerHost();
    holdUploads();
    const std::string report = session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(areUploading(1));
    fs::create_directories(session.backup);
    fs::copy_file(report, session.backup + "/CrashReport_1.json.send_success");
    for (const pid_t pid : session.processes())
        if (isCrashReporter(pid) && pid != reporter.pid()) kill(pid, SIGSEGV);
    EXPECT_TRUE(session.eventually([&] { return !fs::exists(report); }));
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(started().at("CrashReport_1.json"), 1);
    EXPECT_EQ(timesIn(session.log(reporter.pid()), "was ended by signal 11."), 1U);
}

TEST_F(OnceTest, APassThatIsKilledIsMadeAgain) {
    ChildProcess host = registerHost();
    holdUploads();
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(areUploading(1));
    for (const pid_t pid : session.processes())
        if (isCrashReporter(pid) && pid != reporter.pid()) kill(pid, SIGKILL);
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.filed(), std::vector<std::string>{"CrashReport_1.json.send_success"});
    EXPECT_EQ(timesIn(session.log(reporter.pid()), "was ended by signal 9."), 1U);
}

TEST_F(OnceTest, APassThatCrashesEachTimeIsReportedOnceAndMadeUntilItSucceeds) {
    ChildProcess host = registerHost();
    const std::string calm = session.directory / "calm";
    session.replaceProgram("velcurl", R"(#!/bin/sh
pass=$PPID
[ -e ')" + calm + R"(' ] || while :; do
    case $(readlink /proc/$pass/exe) in
        */crash_reporter) kill -SEGV $pass; exit 1 ;;
    esac
    read -r pid name state pass rest </proc/$pass/stat
done
echo 'HTTP/1.1 200 OK'
)");
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), "Sending crash report"));
    EXPECT_TRUE(session.eventually(
        [&] { return timesIn(session.log(reporter.pid()), "was ended by signal 11.") == 3; }));
    EXPECT_EQ(session.inStore("CrashReport_").size(), 2U) << "that of the host and one of a pass";
    writeFile(calm, "");
    EXPECT_TRUE(isStoreEmptyOfReports());
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.filed().size(), 2U);
}

TEST_F(OnceTest, OfTwentyStartedTogetherOneSendsFiftyReportsOnceEach) {
    constexpr int kReporters = 20;
    constexpr int kReports = 50;
    ChildProcess host = registerHost();
    for (int i = 0; i < kReports; ++i)
        session.addReport("CrashReport_" + std::to_string(i) + ".json", "{}");
    std::list<ChildProcess> all;
    for (int i = 0; i < kReporters; ++i) all.push_back(session.startReporter());
    EXPECT_TRUE(isStoreEmptyOfReports());
    EXPECT_TRUE(session.eventually([&] { return reporters() == 1; }));
    end(host);
    int servedByAnother = 0;
    for (ChildProcess& reporter : all) {
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
        servedByAnother += timesIn(session.log(reporter.pid()), kServedByAnother) == 1U ? 1 : 0;
    }
    EXPECT_EQ(servedByAnother, kReporters - 1);
    EXPECT_EQ(delivered().size(), static_cast<std::size_t>(kReports));
    for (const auto& [name, times] : delivered()) EXPECT_EQ(times, 1) << name;
    EXPECT_EQ(session.filed().size(), static_cast<std::size_t>(kReports));
}

TEST_F(OnceTest, OneThatFinishesAnUploadBeforeItLeavesIsSucceededHoweverLongThatTakes) {
    ChildProcess host = registerHost();
    holdUploads();
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess first = session.startReporter();
    ASSERT_TRUE(areUploading(1));
    first.signal(SIGTERM);
    ChildProcess second = session.startReporter();
    sleep(7);  // longer than it would wait for any other
    EXPECT_TRUE(isCrashReporter(second.pid()));
    release();
    EXPECT_EQ(first.wait(session.timeLeft()), exitedWith(0));
    EXPECT_TRUE(session.isLogged(second.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    end(host);
    EXPECT_EQ(second.wait(session.timeLeft()), exitedWith(0));
}

// A host registers and starts a crash reporter, as hosts do, when the one of the host before is
// about to leave: one of the two stays.
TEST_F(OnceTest, AHostThatComesWhileTheLastOneGoesIsServed) {
    std::list<ChildProcess> all;
    ChildProcess host = registerHost();
    all.push_back(session.startReporter());
    EXPECT_TRUE(isReadable(addRawTrace(1000)));
    std::list<ChildProcess> hosts;
    hosts.push_back(std::move(host));
    for (int round = 1; round <= 15; ++round) {
        end(hosts.back());
        // Later and later within the time that it takes the other one to leave.
        const auto later =
            std::chrono::steady_clock::now() + std::chrono::microseconds(300) * round;
        while (std::chrono::steady_clock::now() < later) {
        }
        hosts.push_back(registerHost());
        all.push_back(session.startReporter());
        EXPECT_TRUE(isReadable(addRawTrace(round))) << "nobody serves the host of round " << round;
    }
    EXPECT_TRUE(session.eventually([&] { return reporters() == 1; }));
    EXPECT_TRUE(isReadable(addRawTrace(2000)));
    end(hosts.back());
    for (ChildProcess& reporter : all) EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

}  // namespace

// The crash reporter serves a crash whatever else it waits for.
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "HUTEnv.h"
#include "ServedSession.h"

namespace {

namespace fs = std::filesystem;
using namespace crash_reporter_test;
using namespace test_support;

class AtOnceTest : public testing::Test, protected ServedSession {};

// Nobody registers, so that isExitCondition() would wait for fifteen seconds, and the crash
// reporter leave after them.
TEST_F(AtOnceTest, ACrashBeforeAnybodyHasRegisteredIsServed) {
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(session.eventually([&] { return fs::exists(session.registrations); }));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    session.addReport("CrashReport_1.json", "{}");
    EXPECT_TRUE(isStoreEmptyOfReports());
    EXPECT_EQ(timesIn(session.log(reporter.pid()), kLeaving), 0U);
    EXPECT_EQ(readFile(session.registrations), "");
}

TEST_F(AtOnceTest, AnEmptyRegistrationFileIsUsedAsItIs) {
    session.writeRegistrations("");
    const std::string log = addRawTrace(1);
    session.addReport("CrashReport_1.json", "{}");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(isReadable(log));
    EXPECT_TRUE(isStoreEmptyOfReports());
    ChildProcess host = registerHost();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    const std::string text = session.log(reporter.pid());
    EXPECT_EQ(timesIn(text, "Using the empty registration file " + session.registrations), 1U);
    EXPECT_EQ(timesIn(text, "Deleted the crash store"), 0U);
}

TEST_F(AtOnceTest, TracesBecomeReadableWhileAnUploadHangs) {
    ChildProcess host = registerHost();
    holdUploads();
    ChildProcess reporter = session.startReporter();
    session.addReport("CrashReport_1.json", "{}");
    ASSERT_TRUE(areUploading(1));
    EXPECT_TRUE(isReadable(addRawTrace(1)));
    EXPECT_TRUE(isReadable(addRawTrace(2)));
    EXPECT_TRUE(session.filed().empty());
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.filed(), std::vector<std::string>{"CrashReport_1.json.send_success"});
}

TEST_F(AtOnceTest, PassesLeaveTheLogsOfOlderTracesAlone) {
    ChildProcess host = registerHost();
    ChildProcess reporter = session.startReporter();
    const std::string log = addRawTrace(1);
    ASSERT_TRUE(isReadable(log));
    std::this_thread::sleep_for(std::chrono::seconds(5));
    session.addReport("CrashReport_1.json", "{}");
    ASSERT_TRUE(isStoreEmptyOfReports());
    struct stat before = {};
    ASSERT_EQ(stat(log.c_str(), &before), 0);
    session.addReport("CrashReport_2.json", "{}");
    ASSERT_TRUE(isStoreEmptyOfReports());
    struct stat after = {};
    ASSERT_EQ(stat(log.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino) << "written again";
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

TEST_F(AtOnceTest, AReportThatArrivesDuringAPassIsSentInTheNext) {
    ChildProcess host = registerHost();
    holdUploads();
    ChildProcess reporter = session.startReporter();
    session.addReport("CrashReport_1.json", "{}");
    ASSERT_TRUE(areUploading(1));
    session.addReport("CrashReport_2.json", "{}");
    release();
    EXPECT_TRUE(isStoreEmptyOfReports());
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(delivered(),
              (std::map<std::string, int>{{"CrashReport_1.json", 1}, {"CrashReport_2.json", 1}}));
}

TEST_F(AtOnceTest, WhatAnEndedHostHasLeftAboutItselfIsRemovedWhileOthersRun) {
    ChildProcess host = registerHost();
    ChildProcess other = registerHost();
    const auto factsOf = [&](const ChildProcess& process) {
        return session.store + "/.processfacts_" + HUTEnv::getHostName() + "_" +
               std::to_string(process.pid());
    };
    for (const ChildProcess* process : {&host, &other}) writeFile(factsOf(*process), "facts");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_TRUE(fs::exists(factsOf(host)));
    end(host);
    EXPECT_TRUE(session.eventually([&] { return !fs::exists(factsOf(host)); }));
    EXPECT_TRUE(fs::exists(factsOf(other)));
    end(other);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

// --- SIGTERM ------------------------------------------------------------------------------------

TEST_F(AtOnceTest, AskedToLeaveItFinishesTheUploadUnderWayAndFilesItsReport) {
    ChildProcess host = registerHost();
    holdUploads();
    for (const char* name : {"CrashReport_1.json", "CrashReport_2.json"})
        session.addReport(name, "{}");
    ChildProcess reporter = session.startReporter();
    ASSERT_TRUE(areUploading(1));
    reporter.signal(SIGTERM);
    reporter.signal(SIGTERM);
    EXPECT_TRUE(isReadable(addRawTrace(1))) << "it still serves meanwhile";
    EXPECT_FALSE(reporter.hasEnded());
    release();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(delivered().size(), 1U);
    EXPECT_EQ(session.filed(),
              std::vector<std::string>{delivered().begin()->first + ".send_success"});
    EXPECT_EQ(session.inStore("CrashReport_").size(), 1U);
    EXPECT_EQ(timesIn(session.log(reporter.pid()),
                      "[Crash Reporter] Asked to leave by a signal, leaving. Waiting reports: 1\n"),
              1U);
}

TEST_F(AtOnceTest, AskedToLeaveWhileItSleepsItLeaves) {
    ChildProcess host = registerHost();
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    reporter.signal(SIGTERM);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(timesIn(session.log(reporter.pid()), "Asked to leave by a signal, leaving."), 1U);
}

}  // namespace

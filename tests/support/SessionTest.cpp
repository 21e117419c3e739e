#include <gtest/gtest.h>

#include "HUTEnv.h"
#include "hcrpt/HCrashRptSettings.h"
#include "support/ChildProcess.h"
#include "support/Session.h"
#include "support/SessionProgram.h"
#include "support/SessionScene.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;
using Names = std::vector<std::string>;

void expectThatThePlacesAreTheLibrarys(const Session& session) {
    EXPECT_EQ(HCrashRptSettings::getCrashStorePath(), session.store);
    EXPECT_EQ(HCrashRptSettings::getProcRegFileFullPath(), session.registrations);
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), session.appData);
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), session.tmp);
}

TEST(SessionTest, MakesAllItsPlacesButTheStore) {
    const Session session;
    EXPECT_EQ(namesIn(session.directory.path()), (Names{"appdata", "data", "tmp"}));
    EXPECT_EQ(session.work, session.directory.path());
    EXPECT_EQ(session.inStore(""), Names{});
}

TEST(SessionTest, MayBeLaunchedInADirectoryOfItsOwn) {
    const Session session("work");
    EXPECT_EQ(session.work, session.directory / "work");
    EXPECT_TRUE(fs::is_directory(session.work));
    EXPECT_EQ(session.environment().at("ZEB_SESSION_INFO"), session.work + ":1");
    session.enter();
    expectThatThePlacesAreTheLibrarys(session);
}

TEST(SessionTest, WhatIsPutIntoTheStoreMakesIt) {
    const Session session;
    EXPECT_EQ(readFile(session.add("CrashReport_2")), "{}");
    EXPECT_EQ(readFile(session.moveIn("CrashReport_1", "content")), "content");
    EXPECT_FALSE(fs::exists(session.directory / "CrashReport_1"));
    session.writeRegistrations("testhost:1\n");
    EXPECT_EQ(readFile(session.registrations), "testhost:1\n");
    EXPECT_EQ(session.reports(), (Names{"CrashReport_1", "CrashReport_2"}));
    EXPECT_EQ(session.rawTrace("7"), session.store + "/hs_mangled_err_pid7.log");
    EXPECT_EQ(session.stackTraceLog("7"), session.store + "/hs_err_pid7.log");
    EXPECT_EQ(session.reporterLog("7"), session.sessionDirectory + "/crashReporter7.log");
}

TEST(SessionTest, AScopeLeavesTheEnvironmentAsItWas) {
    const ScopedEnvVar info("ZEB_SESSION_INFO", "/before:2");
    const ScopedEnvVar off("CRPT_OFF", "true");
    {
        const ScopedSession session("work");
        expectThatThePlacesAreTheLibrarys(session);
        EXPECT_EQ(std::getenv("CRPT_OFF"), nullptr);
    }
    EXPECT_STREQ(std::getenv("ZEB_SESSION_INFO"), "/before:2");
    EXPECT_STREQ(std::getenv("CRPT_OFF"), "true");
    EXPECT_EQ(std::getenv("HUT_TMP_DIR"), nullptr);
}

TEST(SessionProgramTest, RunsInTheLaunchDirectoryWithTheGivenEnvironmentAndArguments) {
    const Session session("work");
    const ScopedEnvVar unwanted("CRPT_OFF", "true");
    const auto prepare = [] { setenv("PREPARED", "yes", 1); };
    ChildProcess program = startProgram(
        session, "/bin/sh",
        {"sh", "-c", "echo \"$PWD $ZEB_SESSION_INFO ${CRPT_OFF-unset} $PREPARED $0 $1\"", "a", "b"},
        session.environment(), prepare);
    EXPECT_EQ(program.wait(), exitedWith(0));
    EXPECT_EQ(program.standardOutput(), session.work + " " + session.work + ":1 unset yes a b\n");
}

TEST(SessionProgramTest, AMissingProgramEndsWith127) {
    const Session session;
    EXPECT_EQ(startProgram(session, session.directory / "missing", {}, {}, nullptr).wait(),
              exitedWith(127));
}

using SessionSceneTest = SessionScene;

TEST_F(SessionSceneTest, IsInTheSessionOnATestsMachine) {
    expectThatThePlacesAreTheLibrarys(*this);
    EXPECT_EQ(HUTEnv::getHostName(), "testhost");
}

}  // namespace

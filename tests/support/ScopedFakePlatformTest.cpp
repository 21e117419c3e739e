#include <gtest/gtest.h>
#include <unistd.h>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "HUTFork.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

TEST(ScopedFakePlatformTest, FactsAreTheSameOnEveryMachine) {
    const ScopedFakePlatform fake;
    EXPECT_EQ(HUTEnv::getHostName(), "testhost");
    EXPECT_EQ(HUTEnv::getUserName(), "tester");
    EXPECT_EQ(HUTEnv::getDomainName(), "test.example");
    EXPECT_TRUE(HUTEnv::isHostInsideVeltra());
    EXPECT_EQ(HUTEnv::getProgramName(), "testprogram");
    EXPECT_EQ(HUTEnv::getCmdline(), "/opt/test/bin/testprogram -mode batch");
    EXPECT_EQ(HUTEnv::getProductName(), "Designer");
    EXPECT_EQ(HUTEnv::getProductVersion(), "4.2");
    EXPECT_EQ(HUTEnv::getBuildNumber(), 4711);
    EXPECT_EQ(HUTEnv::getBuildDate(), "2026-11-21");
    std::string stamp;
    HUTEnv::getTimeStamp(stamp);
    EXPECT_EQ(stamp, "20261121T054733");
    EXPECT_EQ(HUTEnv::getPid(), getpid());
}

TEST(ScopedFakePlatformTest, ChosenFactsAreAnswered) {
    ScopedFakePlatform fake;
    fake.fakeHostName = "h1";
    fake.fakeInsideVeltra = false;
    fake.fakePid = 4711;
    fake.fakeWorkingDirectory = "/w";
    fake.fakeAppRoot = "/r";
    fake.fakeAppDataDir = "/d";
    fake.fakeTmpDir = "/t";
    fake.fakeDataDir = "/data";
    EXPECT_EQ(HUTEnv::getHostName(), "h1");
    EXPECT_FALSE(HUTEnv::isHostInsideVeltra());
    EXPECT_EQ(HUTEnv::getPid(), 4711);
    EXPECT_EQ(HUTEnv::getPWD(), "/w");
    EXPECT_EQ(HUTEnv::getTUVAppRoot(), "/r");
    EXPECT_EQ(HUTEnv::getTUVAppDataDir(), "/d");
    EXPECT_EQ(HUTEnv::getTUVTmpDir(), "/t");
    EXPECT_EQ(HUTEnv::getZEBDataDir("x"), "/data");
}

TEST(ScopedFakePlatformTest, FileOperationsAreRealUntilForced) {
    const TempDir dir;
    writeFile(dir / "f", "");
    ScopedFakePlatform fake;
    EXPECT_TRUE(HUTFile::exists(dir / "f"));
    EXPECT_TRUE(HUTFile(dir / "d").mkDir());
    EXPECT_TRUE(HUTFile(dir / "f").copyToDir(dir / "d", HUTFile::COPY_REPLACE));
    fake.onExists = fake.onIsDir = fake.onIsWriteable = fake.onMkDir = fake.onMkDirRecursive =
        fake.onRm = fake.onRmRecursive = [](const std::string&) { return false; };
    fake.onCopyToDir = [](const std::string&, const std::string&, HUTFile::CopyMode) {
        return false;
    };
    fake.onCanonicalName = [](const std::string&) { return std::string("forced"); };
    EXPECT_FALSE(HUTFile::exists(dir / "f"));
    EXPECT_FALSE(HUTFile(dir.path()).isDir());
    EXPECT_FALSE(HUTFile::isWriteable(dir / "f"));
    EXPECT_FALSE(HUTFile(dir / "e").mkDir());
    EXPECT_FALSE(HUTFile(dir / "e").mkDirRecursive());
    EXPECT_FALSE(HUTFile(dir / "f").rm());
    EXPECT_FALSE(HUTFile(dir / "d").rmRecursive());
    EXPECT_FALSE(HUTFile(dir / "f").copyToDir(dir / "d", HUTFile::COPY_REPLACE));
    std::string canonical;
    HUTFile(dir / "f").getCanonicalName(canonical);
    EXPECT_EQ(canonical, "forced");
    EXPECT_EQ(test_support::namesIn(dir.path()), (std::vector<std::string>{"d", "f"}));
}

TEST(ScopedFakePlatformTest, LaunchCanBeForced) {
    ScopedFakePlatform fake;
    std::string launched;
    fake.onLaunch = [&](const std::string& cmdLine, bool, bool, bool, bool, bool) {
        launched = cmdLine;
        return -7;
    };
    HUTFork fork;
    fork.setCmdLine("some command", true);
    EXPECT_EQ(fork.launch(true, true, true, true), -7);
    EXPECT_EQ(launched, "some command");
}

TEST(ScopedFakePlatformTest, ScopesNestAndEnd) {
    const std::string real = HUTEnv::getHostName();
    {
        ScopedFakePlatform outer;
        outer.fakeHostName = "outer";
        {
            ScopedFakePlatform inner;
            inner.fakeHostName = "inner";
            EXPECT_EQ(HUTEnv::getHostName(), "inner");
        }
        EXPECT_EQ(HUTEnv::getHostName(), "outer");
    }
    EXPECT_EQ(HUTEnv::getHostName(), real);
}

}  // namespace

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptSettings.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

using namespace test_support;

namespace fs = std::filesystem;

namespace {

/// Each path as it follows from one value of ZEB_SESSION_INFO.
struct SessionCase {
    std::optional<std::string> info;
    std::string launchDir;
    std::string sessionId;
    std::string scratchDir;
    std::string sessionDir;
    std::string crashStore;
    std::string registrationFile;
};

const SessionCase kSessionCases[] = {
    {"/home/u/proj:42", "/home/u/proj", "42", "/home/u/proj/.crashReporter",
     "/home/u/proj/.crashReporter/42", "/home/u/proj/.crashReporter/42/crashStore",
     "/home/u/proj/.crashReporter/42/crashStore/processRegFile.txt"},
    {"/a:b:c", "/a", "b:c", "/a/.crashReporter", "/a/.crashReporter/b:c",
     "/a/.crashReporter/b:c/crashStore", "/a/.crashReporter/b:c/crashStore/processRegFile.txt"},
    {"/a:", "/a", "", "/a/.crashReporter", "/a/.crashReporter/", "/a/.crashReporter//crashStore",
     "/a/.crashReporter//crashStore/processRegFile.txt"},
    // Without a colon the whole value is both.
    {"/a", "/a", "/a", "/a/.crashReporter", "/a/.crashReporter//a",
     "/a/.crashReporter//a/crashStore", "/a/.crashReporter//a/crashStore/processRegFile.txt"},
    {":7", "", "7", "/.crashReporter", "/.crashReporter/7", "/.crashReporter/7/crashStore",
     "/.crashReporter/7/crashStore/processRegFile.txt"},
    {"/a/:1", "/a/", "1", "/a//.crashReporter", "/a//.crashReporter/1",
     "/a//.crashReporter/1/crashStore", "/a//.crashReporter/1/crashStore/processRegFile.txt"},
    {"", "", "", "/.crashReporter", "/.crashReporter/", "/.crashReporter//crashStore",
     "/.crashReporter//crashStore/processRegFile.txt"},
    {std::nullopt, "", "", "/.crashReporter", "/.crashReporter/", "/.crashReporter//crashStore",
     "/.crashReporter//crashStore/processRegFile.txt"},
};

}  // namespace

TEST(HCrashRptPathsTest, SessionPathsAreJoinedWithoutNormalising) {
    for (const SessionCase& each : kSessionCases) {
        SCOPED_TRACE(each.info ? "ZEB_SESSION_INFO=" + *each.info : "ZEB_SESSION_INFO unset");
        const ScopedEnvVar info("ZEB_SESSION_INFO", each.info);
        EXPECT_EQ(HCrashRptSettings::getSessionLaunchDir(), each.launchDir);
        EXPECT_EQ(HCrashRptSettings::getSessionId(), each.sessionId);
        EXPECT_EQ(HCrashRptSettings::getCrashReporterScratchDir(), each.scratchDir);
        EXPECT_EQ(HCrashRptSettings::getCrashReporterSessionDir(), each.sessionDir);
        EXPECT_EQ(HCrashRptSettings::crashReporterLogDir(), each.sessionDir);
        EXPECT_EQ(HCrashRptSettings::getCrashStorePath(), each.crashStore);
        EXPECT_EQ(HCrashRptSettings::getProcRegFileFullPath(), each.registrationFile);
    }
}

TEST(HCrashRptPathsTest, ChangedEnvironmentChangesTheAnswer) {
    ScopedEnvVar info("ZEB_SESSION_INFO", "/first:1");
    ASSERT_EQ(HCrashRptSettings::getCrashStorePath(), "/first/.crashReporter/1/crashStore");
    info.set("/second:2");
    EXPECT_EQ(HCrashRptSettings::getCrashStorePath(), "/second/.crashReporter/2/crashStore");
}

TEST(HCrashRptPathsTest, NamingCreatesNothing) {
    const TempDir dir;
    ScopedFakePlatform platform;
    platform.fakeAppDataDir = dir / "data";
    platform.fakeAppRoot = dir / "root";
    const ScopedEnvVar info("ZEB_SESSION_INFO", dir.path() + ":1");
    HCrashRptSettings::getProcRegFileFullPath();
    HCrashRptSettings::getCrashBackupStorePath();
    HCrashRptSettings::getGuiStrDumpFileName();
    HCrashRptSettings::getAppPath("velcurl");
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

TEST(HCrashRptPathsTest, BackupStoreLiesInTheUsersDataAndIsSharedBySessions) {
    ScopedFakePlatform platform;
    platform.fakeAppDataDir = "/home/u/.data";
    ScopedEnvVar info("ZEB_SESSION_INFO", "/w:1");
    EXPECT_EQ(HCrashRptSettings::getCrashBackupStorePath(), "/home/u/.data/crashStoreBackup");
    info.set("/other:2");
    EXPECT_EQ(HCrashRptSettings::getCrashBackupStorePath(), "/home/u/.data/crashStoreBackup");
}

TEST(HCrashRptPathsTest, PlatformDirectoriesAreJoinedWithoutNormalising) {
    ScopedFakePlatform platform;
    std::vector<std::string> asked;
    platform.onExists = [&](const std::string& path) {
        asked.push_back(path);
        return false;
    };
    platform.fakeAppRoot = "/opt//app/";
    HCrashRptSettings::getAppPath("velcurl");
    platform.fakeAppRoot = "";
    HCrashRptSettings::getAppPath("a/../b");
    EXPECT_EQ(asked, (std::vector<std::string>{"/opt//app//bin/unwrapped/lnx64.o/velcurl",
                                               "/bin/unwrapped/lnx64.o/a/../b"}));
    platform.fakeAppDataDir = "/data/";
    EXPECT_EQ(HCrashRptSettings::getCrashBackupStorePath(), "/data//crashStoreBackup");
    platform.fakeAppDataDir = "";
    EXPECT_EQ(HCrashRptSettings::getCrashBackupStorePath(), "/crashStoreBackup");
}

TEST(HCrashRptPathsTest, GuiDumpNameLowersTheProductsFirstCharacterOnly) {
    ScopedFakePlatform platform;
    platform.fakePid = 4711;
    const ScopedEnvVar info("ZEB_SESSION_INFO", "/w:1");
    const struct {
        const char* product;
        const char* path;
    } cases[] = {
        {"Designer", "/w/designer_pid4711.str"},
        {"DESIGNER", "/w/dESIGNER_pid4711.str"},
        {"designer", "/w/designer_pid4711.str"},
        {"3D Kit", "/w/3D Kit_pid4711.str"},
        {"", "/w/_pid4711.str"},
    };
    for (const auto& each : cases) {
        platform.fakeProduct.name = each.product;
        EXPECT_EQ(HCrashRptSettings::getGuiStrDumpFileName(), each.path) << each.product;
    }
}

TEST(HCrashRptPathsTest, RawTracesGoToTheWorkingDirectory) {
    ScopedFakePlatform platform;
    platform.fakeWorkingDirectory = "/some/where";
    EXPECT_EQ(HCrashRptSettings::getStackTraceLogPath(), "/some/where");
    platform.fakeWorkingDirectory = "/else/where";
    EXPECT_EQ(HCrashRptSettings::getStackTraceLogPath(), "/else/where");
}

TEST(HCrashRptPathsTest, AppPathNamesAnExecutableOfTheInstallation) {
    const TempDir root;
    ScopedFakePlatform platform;
    platform.fakeAppRoot = root.path();
    EXPECT_EQ(HCrashRptSettings::getAppPath("velcurl"), "") << "missing";
    fs::create_directories(root / "bin/unwrapped/lnx64.o");
    const std::string program = root / "bin/unwrapped/lnx64.o/velcurl";
    test_support::writeFile(program, "#!/bin/sh\n");
    fs::permissions(program, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(HCrashRptSettings::getAppPath("velcurl"), "") << "may not be executed";
    fs::permissions(program, fs::perms::owner_all);
    EXPECT_EQ(HCrashRptSettings::getAppPath("velcurl"), program);
    platform.onExists = [](const std::string&) { return false; };
    EXPECT_EQ(HCrashRptSettings::getAppPath("velcurl"), "") << "the platform denies it";
}

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <string>

#include "capture/StorePath.h"
#include "hcrpt/HCrashRptSettings.h"
#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

using namespace test_support;

namespace {

std::string storePath() {
    char buffer[512];
    EXPECT_TRUE(hcrpt::crashStorePath(buffer, sizeof buffer));
    return buffer;
}

TEST(StorePathTest, IsTheOneOfTheSettingsWhateverTheEnvironment) {
    for (const char* info :
         {"/home/u/proj:42", "/home/u/proj:4:2", "/home/u/proj", "/home/u/proj:", ":42", ":", ""}) {
        const ScopedEnvVar session("ZEB_SESSION_INFO", info);
        EXPECT_EQ(HCrashRptSettings::getCrashStorePath(), storePath()) << info;
    }
    const ScopedEnvVar none("ZEB_SESSION_INFO", std::nullopt);
    EXPECT_EQ(HCrashRptSettings::getCrashStorePath(), storePath());
}

TEST(StorePathTest, ABufferThatIsTooSmallHoldsACutTextAndIsTold) {
    const ScopedEnvVar session("ZEB_SESSION_INFO", "/d:s");
    const std::string whole = "/d/.crashReporter/s/crashStore";
    char buffer[64];
    EXPECT_TRUE(hcrpt::crashStorePath(buffer, whole.size() + 1));
    EXPECT_EQ(whole, buffer);
    EXPECT_FALSE(hcrpt::crashStorePath(buffer, whole.size()));
    EXPECT_EQ(whole.substr(0, whole.size() - 1), buffer);
}

TEST(StorePathTest, DirectoriesAreMadeForTheirOwnerOnly) {
    const TempDir dir;
    const std::string path = dir / "a/b/c";
    std::string text = path;
    const mode_t before = umask(0);
    hcrpt::makeDirectories(text.data());
    umask(before);
    EXPECT_EQ(path, text);
    for (const char* name : {"a", "a/b", "a/b/c"}) EXPECT_EQ(0700U, modeOf(dir / name)) << name;
}

TEST(StorePathTest, WhatIsThereStaysAndAnEmptyPathMakesNothing) {
    const TempDir dir;
    writeFile(dir / "a", "file");
    std::string text = dir / "a/b";
    hcrpt::makeDirectories(text.data());
    EXPECT_EQ("file", test_support::readFile(dir / "a"));
    char empty[] = "";
    hcrpt::makeDirectories(empty);
    EXPECT_STREQ("", empty);
}

}  // namespace

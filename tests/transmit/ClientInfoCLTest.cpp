#include <gtest/gtest.h>

#include <type_traits>

#include "hcrpt/HCrashRptTransmit.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "transmit/PlainFields.h"

namespace {

using namespace test_support;

// A plain value: five texts and nothing else, no virtual operations.
static_assert(!std::is_polymorphic_v<ClientInfoCL> && std::is_copy_assignable_v<ClientInfoCL>);
static_assert(sizeof(ClientInfoCL) == 5 * sizeof(std::string));

class ClientInfoCLTest : public testing::Test {
  protected:
    ClientInfoCLTest() { platform.fakeTmpDir = directory / "tmp"; }

    TempDir directory;
    ScopedFakePlatform platform;
    const std::string temporary = directory / "tmp/CrashReporter";
};

TEST_F(ClientInfoCLTest, IsEmptyAtFirstButForItsTemporaryDirectory) {
    StdoutCapture output;
    const ClientInfoCL info;
    EXPECT_EQ(info.getRegId(), "");
    EXPECT_EQ(info.getCoreDumpDir(), "");
    EXPECT_EQ(info.getTempDir(), temporary);
    EXPECT_EQ(info.getProxy(), "");
    EXPECT_EQ(info.getCacert(), "");
}

TEST_F(ClientInfoCLTest, MakesAMissingTemporaryDirectoryAndItsParentsAndSaysSo) {
    StdoutCapture output;
    const ClientInfoCL info;
    EXPECT_EQ(info.getTempDir(), temporary);
    EXPECT_TRUE(std::filesystem::is_directory(temporary));
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] created tmp dir :" + temporary + "\n");
}

TEST_F(ClientInfoCLTest, AnExistingTemporaryDirectoryIsUsedSilently) {
    std::filesystem::create_directories(temporary);
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), temporary);
    EXPECT_EQ(output.text(), "");
}

TEST_F(ClientInfoCLTest, TheTemporaryDirectoryIsCanonical) {
    std::filesystem::create_directory(directory / "real");
    std::filesystem::create_directory_symlink(directory / "real", directory / "link");
    platform.fakeTmpDir = directory / "link";
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), directory / "real/CrashReporter");
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] created tmp dir :" + (directory / "real/CrashReporter") + "\n");
}

TEST_F(ClientInfoCLTest, TheTemporaryDirectoryIsMadeUnderTheNameThatThePlatformGave) {
    std::filesystem::create_directory(directory / "real");
    std::filesystem::create_directory_symlink(directory / "real", directory / "link");
    platform.fakeTmpDir = directory / "link";
    std::vector<std::string> made;
    platform.onMkDirRecursive = [&](const std::string& path) {
        made.push_back(path);
        return true;
    };
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), directory / "real/CrashReporter");
    EXPECT_EQ(made, std::vector<std::string>{directory / "link/CrashReporter"});
}

TEST_F(ClientInfoCLTest, WhateverExistsUnderItsNameIsTakenForTheTemporaryDirectory) {
    std::filesystem::create_directory(directory / "tmp");
    test_support::writeFile(temporary, "a file");
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), temporary);
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(test_support::readFile(temporary), "a file");
}

TEST_F(ClientInfoCLTest, ATemporaryDirectoryThatCannotBeMadeIsEmptyAndReported) {
    test_support::writeFile(directory / "tmp", "a file in its parent's place");
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), "");
    EXPECT_EQ(output.flushedText(),
              "[Crash Reporter] Error: Could not create tmp dir: " + temporary + "\n");
}

TEST_F(ClientInfoCLTest, OneThatCannotBeMadeIsReportedByItsCanonicalName) {
    std::filesystem::create_directory(directory / "real");
    std::filesystem::create_directory_symlink(directory / "real", directory / "link");
    platform.fakeTmpDir = directory / "link";
    platform.onMkDirRecursive = [](const std::string&) { return false; };
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), "");
    EXPECT_EQ(output.flushedText(), "[Crash Reporter] Error: Could not create tmp dir: " +
                                        (directory / "real/CrashReporter") + "\n");
}

TEST_F(ClientInfoCLTest, WhetherItIsThereIsAskedOfTheCanonicalName) {
    const std::string canonical = directory / "canonical";
    std::filesystem::create_directory(canonical);
    platform.onCanonicalName = [&](const std::string&) { return canonical; };
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), canonical);
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(std::filesystem::exists(temporary));
}

TEST_F(ClientInfoCLTest, WithoutACanonicalNameTheTemporaryDirectoryIsEmptyAndNothingIsMadeOrSaid) {
    platform.onCanonicalName = [](const std::string&) { return std::string(); };
    StdoutCapture output;
    EXPECT_EQ(ClientInfoCL().getTempDir(), "");
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(std::filesystem::exists(directory / "tmp"));
}

TEST_F(ClientInfoCLTest, NothingHandsOutARegistrationIdOrACoreDumpDirectory) {
    StdoutCapture output;
    ClientInfoCL info;
    info.setRegId("set");
    info.setCoreDumpDir("set");
    EXPECT_EQ(info.probeAndGetRegId(), "");
    EXPECT_EQ(info.probeAndGetCoreDumpDir(), "");
    EXPECT_EQ(info.probeAndGetTempDir(), temporary);
}

TEST_F(ClientInfoCLTest, ItsFieldsArePlainTexts) {
    StdoutCapture output;
    transmit_test::expectPlainFields<ClientInfoCL>(
        {{&ClientInfoCL::setRegId, &ClientInfoCL::getRegId},
         {&ClientInfoCL::setCoreDumpDir, &ClientInfoCL::getCoreDumpDir},
         {&ClientInfoCL::setTempDir, &ClientInfoCL::getTempDir},
         {&ClientInfoCL::setProxy, &ClientInfoCL::getProxy},
         {&ClientInfoCL::setCacert, &ClientInfoCL::getCacert}});
}

}  // namespace

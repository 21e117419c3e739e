// Hosts that have lost their environment, or deny the rights to all files that they make.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using namespace crash_test;

namespace {

class LostEnvironmentTest : public testing::TestWithParam<const char*> {};

TEST_P(LostEnvironmentTest, IsThatOfTheStart) {
    CrashScene scene;
    const Outcome outcome = scene.run(GetParam());
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_EQ(std::string::npos, outcome.report.find("\"memoryUtilization\": \" %\""))
        << "the tools are found";
}

INSTANTIATE_TEST_SUITE_P(Table, LostEnvironmentTest,
                         testing::Values("cleared-environment", "environment-without-session",
                                         "wild-environment", "wild-entries"),
                         [](const auto& row) {
                             std::string name = row.param;
                             for (char& c : name)
                                 if (c == '-') c = '_';
                             return name;
                         });

unsigned modeOf(const std::string& path) {
    struct stat file = {};
    EXPECT_EQ(0, stat(path.c_str(), &file)) << path;
    return file.st_mode & 07777;
}

TEST(CreationMaskTest, AMaskWithoutTheOwnersRightsLeavesThemToHimAllTheSame) {
    CrashScene scene;
    scene.reporter = CrashScene::Reporter::comesLater;
    const Outcome outcome = scene.run("mask-of-all-rights");
    expectWholeRecord(outcome, SIGSEGV);
    EXPECT_EQ(0600U,
              modeOf(scene.work + "/hs_mangled_err_pid" + std::to_string(outcome.pid) + ".log"));
    EXPECT_EQ(0600U, modeOf(scene.tracePath(outcome.pid)));
    for (const std::string& directory :
         {scene.work + "/.crashReporter", std::filesystem::path(scene.store).parent_path().string(),
          scene.store})
        EXPECT_EQ(0700U, modeOf(directory)) << directory;
}

}  // namespace

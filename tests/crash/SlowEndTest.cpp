// Deaths that the longest wait ends.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using crash_test::CrashScene;
using crash_test::Outcome;

namespace {

// The trace cannot reach the crash store, but its wait is the usual one.
TEST(SlowEndTest, AFullFileSystemBeneathTheCrashStoreKeepsTheRawTrace) {
    CrashScene scene;
    scene.reporter = CrashScene::Reporter::none;
    scene.deadline = 150s;
    fs::create_directories(scene.store);
    // Seen by this process and its children alone, and gone with them.
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", scene.store.c_str(), "tmpfs", 0, "size=4k") != 0)
        GTEST_SKIP() << "needs the right to mount";
    test_support::writeFile(scene.store + "/full", std::string(4096, 'x'));
    const Outcome outcome = scene.run("null-write");
    umount(scene.store.c_str());
    EXPECT_EQ(test_support::exitedWith(139), outcome.end);
    EXPECT_EQ(0U, outcome.rawTrace.find(crash_test::headerOf(SIGSEGV)));
    EXPECT_EQ("", outcome.copy) << "half a trace";
    EXPECT_EQ("", outcome.report) << "half a report";
}

/// Returns true when the directory can be read but not written from now on, by this process and its
/// children alone.
bool makeReadOnly(const std::string& directory) {
    const char* const path = directory.c_str();
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(path, path, nullptr, MS_BIND, nullptr) == 0 &&
           mount(nullptr, path, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr) == 0;
}

// No user's rights help there.
TEST(SlowEndTest, AReadOnlyCrashStoreKeepsTheRawTrace) {
    CrashScene scene;
    scene.reporter = CrashScene::Reporter::none;
    scene.deadline = 150s;
    fs::create_directories(scene.store);
    if (!makeReadOnly(scene.store)) GTEST_SKIP() << "needs the right to mount";
    const Outcome outcome = scene.run("null-write");
    umount(scene.store.c_str());
    EXPECT_EQ(test_support::exitedWith(139), outcome.end);
    EXPECT_EQ(0U, outcome.rawTrace.find(crash_test::headerOf(SIGSEGV)));
    EXPECT_NE(std::string::npos, outcome.rawTrace.find("nullWrite"));
    const std::string where = "Please check this file for stacktrace: " + scene.work +
                              "/hs_mangled_err_pid" + std::to_string(outcome.pid) + ".log\n";
    const std::string report = "[Crash Reporter] Error: file " + scene.store + "/CrashReport_" +
                               std::to_string(outcome.pid) + "_";
    EXPECT_NE(std::string::npos, outcome.output.find(where + report)) << outcome.output;
    EXPECT_NE(std::string::npos, outcome.output.find(" is not writable.\n"));
    EXPECT_TRUE(fs::is_empty(scene.store));
}

}  // namespace

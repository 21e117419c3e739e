/// @file
/// A session whose processes have ended, some of them without a report.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptRecovery.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

namespace recovery_test {

/// Process ids that no process can have: beyond the largest that the kernel hands out.
constexpr char kDeadPid[] = "4194305";
constexpr char kOtherDeadPid[] = "4194306";

constexpr char kRawTrace[] =
    "#\n# An unexpected error has occurred (6)\n#\nStack:\n"
    "/opt/app/lib/libzeb_HCrashReporter.so(+0x1f2a0)[0x7f3a2c5d4e5f]\n"
    "/lib/x86_64-linux-gnu/libc.so.6(abort+0xd3)[0x7f3a2c244472]\n"
    "/opt/app/lib/libzeb_solver.so(_ZN6solver4stepEv+0x1a)[0x7f3a2c1d4e5f]\n"
    "/opt/app/bin/designer(main+0x20)[0x55ca40537451]\n\n";
constexpr char kStackTraceLog[] =
    "#\n# An unexpected error has occurred (6)\n#\nStack:\n"
    "libc.so.6(abort+0xd3)[0x7f3a2c244472]\n"
    "libzeb_solver.so(solver::step()+0x1a)[0x7f3a2c1d4e5f]\n"
    "designer(main+0x20)[0x55ca40537451]\n";

inline void setTime(const std::string& path, std::timespec time) {
    const std::timespec times[] = {time, time};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

/// Session 42 on the machine "testhost", in a time zone of its own.
class DeadSessionTest : public testing::Test {
  protected:
    DeadSessionTest() {
        platform.fakeAppDataDir = directory.path();
        std::filesystem::create_directories(store);
        std::filesystem::create_directories(backup);
    }

    void registerProcesses(const std::string& records) {
        test_support::writeFile(registrations, records);
    }
    std::string tracePath(const std::string& pid) const {
        return store + "/hs_mangled_err_pid" + pid + ".log";
    }
    std::string logPath(const std::string& pid) const {
        return store + "/hs_err_pid" + pid + ".log";
    }
    /// Puts a raw trace into the store that is as old as every other file of the session.
    void addTrace(const std::string& pid, const std::string& content = kRawTrace) const {
        test_support::writeFile(tracePath(pid), content);
        setTime(tracePath(pid), kCrash);
    }
    static void addReport(const std::string& path, std::timespec time,
                          const std::string& content = "{}") {
        test_support::writeFile(path, content);
        setTime(path, time);
    }
    /// Leaves facts as the process of that id would have.
    void leaveFacts(const std::string& pid) {
        platform.fakePid = std::stoi(pid);
        HCrashReporter::leaveProcessFacts();
        platform.fakePid.reset();
    }
    std::string factsPath(const std::string& pid) const {
        return store + "/.processfacts_testhost_" + pid;
    }
    std::vector<std::string> reports() const {
        std::vector<std::string> names;
        for (const std::string& name : test_support::namesIn(store))
            if (name.rfind("CrashReport_", 0) == 0) names.push_back(name);
        return names;
    }

    static constexpr std::timespec kCrash = {1794768163, 500000000};  // 2026-11-15 20:12:43 there
    static constexpr std::timespec kBefore = {1794768163, 400000000};
    static constexpr char kName[] = "CrashReport_4194305_testhost_tester_20261115T201243.json";

    test_support::TempDir directory;
    test_support::ScopedEnvVar session{"ZEB_SESSION_INFO", directory.path() + ":42"};
    test_support::ScopedEnvVar zone{"TZ", "XYZ-01:30"};
    test_support::ScopedFakePlatform platform;
    const std::string store = directory / ".crashReporter/42/crashStore";
    const std::string registrations = store + "/processRegFile.txt";
    const std::string backup = directory / "crashStoreBackup";
};

}  // namespace recovery_test

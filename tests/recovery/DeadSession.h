/// @file
/// A session whose processes have ended, some of them without a report.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptRecovery.h"
#include "support/SessionScene.h"
#include "support/StdoutCapture.h"

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

/// A session on the machine "testhost", in a time zone of its own.
class DeadSessionTest : public test_support::SessionScene {
  protected:
    DeadSessionTest() {
        makeStore();
        std::filesystem::create_directories(backup);
    }

    /// Puts a raw trace into the store that is as old as every other file of the session.
    void addTrace(const std::string& pid, const std::string& content = kRawTrace) const {
        test_support::writeFile(rawTrace(pid), content);
        setTime(rawTrace(pid), kCrash);
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

    static constexpr std::timespec kCrash = {1794768163, 500000000};  // 2026-11-15 20:12:43 there
    static constexpr std::timespec kBefore = {1794768163, 400000000};
    static constexpr char kName[] = "CrashReport_4194305_testhost_tester_20261115T201243.json";

    test_support::ScopedEnvVar zone{"TZ", "XYZ-01:30"};
};

}  // namespace recovery_test

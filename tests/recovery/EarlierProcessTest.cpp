// Traces that an earlier process with the same id has left in the crash store.
#include <unistd.h>

#include <filesystem>

#include "facts/ProcessState.h"
#include "recovery/DeadSession.h"
#include "recovery/EarlierProcess.h"

namespace {

namespace fs = std::filesystem;
using hcrpt::removeTracesOfEarlierProcess;

class EarlierProcessTest : public recovery_test::DeadSessionTest {
  protected:
    EarlierProcessTest() {
        addTrace(pid);
        test_support::writeFile(stackTraceLog(pid), recovery_test::kStackTraceLog);
        recovery_test::setTime(stackTraceLog(pid), kCrash);
    }
    void addReportOfIt() const {
        addReport(backup + "/CrashReport_" + pid + "_testhost_u_then.json.send_success", kCrash);
    }
    /// A time relative to the start of this process.
    std::timespec fromStart(int seconds) const {
        std::timespec time = hcrpt::wallClockStart(hcrpt::processState(pid)->startTime).value();
        time.tv_sec += seconds;
        return time;
    }
    void expectKept() const {
        EXPECT_TRUE(fs::exists(rawTrace(pid)));
        EXPECT_TRUE(fs::exists(stackTraceLog(pid)));
    }
    const std::string pid = std::to_string(getpid());
};

TEST_F(EarlierProcessTest, AreRemovedWithTheirLogOnceTheirReportIsThere) {
    addReportOfIt();
    removeTracesOfEarlierProcess();
    EXPECT_FALSE(fs::exists(rawTrace(pid)));
    EXPECT_FALSE(fs::exists(stackTraceLog(pid)));
}

TEST_F(EarlierProcessTest, AreKeptWhileTheirReportIsMissing) {
    removeTracesOfEarlierProcess();
    expectKept();
}

TEST_F(EarlierProcessTest, ALogAloneIsRemoved) {
    fs::remove(rawTrace(pid));
    removeTracesOfEarlierProcess();
    EXPECT_FALSE(fs::exists(stackTraceLog(pid)));
}

TEST_F(EarlierProcessTest, FilesOfTheLastMinuteBeforeThisProcessAreKept) {
    addReportOfIt();
    for (const std::string& file : {rawTrace(pid), stackTraceLog(pid)})
        recovery_test::setTime(file, fromStart(-59));
    addReport(backup + "/CrashReport_" + pid + "_testhost_u_now.json.send_success", fromStart(0));
    removeTracesOfEarlierProcess();
    expectKept();
    for (const std::string& file : {rawTrace(pid), stackTraceLog(pid)})
        recovery_test::setTime(file, fromStart(-63));
    removeTracesOfEarlierProcess();
    EXPECT_FALSE(fs::exists(rawTrace(pid)));
}

TEST_F(EarlierProcessTest, AnotherProcesssFilesAreKept) {
    addTrace(recovery_test::kDeadPid);
    addReportOfIt();
    removeTracesOfEarlierProcess();
    EXPECT_TRUE(fs::exists(rawTrace(recovery_test::kDeadPid)));
}

TEST_F(EarlierProcessTest, TheWorkingDirectoryIsLeftAlone) {
    addReportOfIt();
    const test_support::ScopedWorkingDirectory there(directory.path());
    const std::string own = directory / ("hs_mangled_err_pid" + pid + ".log");
    test_support::writeFile(own, "");
    recovery_test::setTime(own, kCrash);
    removeTracesOfEarlierProcess();
    EXPECT_TRUE(fs::exists(own));
}

}  // namespace

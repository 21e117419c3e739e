// Each case needs a process of its own: paths and handler are decided once. CTest gives it that.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "capture/CrashScene.h"
#include "capture/CrashStack.h"
#include "capture/TraceLines.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/LinkSeams.h"
#include "support/ScopedEnvVar.h"
#include "support/StdoutCapture.h"

using namespace HCrashReporter;
using namespace test_support;

namespace {

constexpr int kLogWaitTests = 100;

void writeLog(int sig) {
    HCrptExceptionHandlerBase::writeStackTraceTxtLog(sig);
}

/// A process that is about to die: resources made, waits counted in place of being slept.
class StackTraceTxtLogTest : public testing::Test {
  protected:
    StackTraceTxtLogTest() {
        scene.platform.onExists = [this](const std::string& path) {
            if (path == scene.stackTraceLog()) ++testsForLog;
            return HUTBackendExists(path);
        };
        scene.platform.onCopyToDir = [this](const std::string& path, const std::string& directory,
                                            HUTFile::CopyMode mode) {
            copies.push_back(path + " -> " + directory + " mode " + std::to_string(mode));
            return scene.platform.HUTBackend::copyToDir(path, directory, mode);
        };
        seams::onNanosleep = [this](const timespec* wanted, timespec*) -> std::optional<int> {
            if (wanted->tv_sec != 1 || wanted->tv_nsec != 0) return std::nullopt;
            ++sleeps;
            if (duringSleep) duringSleep();
            return 0;
        };
    }
    ~StackTraceTxtLogTest() override { seams::onNanosleep = nullptr; }

    bool HUTBackendExists(const std::string& path) {
        return scene.platform.HUTBackend::exists(path);
    }
    /// As registration does, before the crash.
    static void makeHandler() { ASSERT_NE(nullptr, HCrptExceptionHandlerBase::get("")); }

    static std::string announcement(int sig) {
        return "Error: Abnormal program termination (" + std::to_string(sig) +
               ") of process id 4242. ";
    }
    static std::string pointTo(const std::string& path) {
        return "Please check this file for stacktrace: " + path + "\n";
    }

    CrashScene scene;
    std::vector<std::string> copies;
    int testsForLog = 0;
    int sleeps = 0;
    std::function<void()> duringSleep;
};

// --- The raw trace ------------------------------------------------------------------------------

TEST_F(StackTraceTxtLogTest, TheRawTraceIsHeaderFramesAndOneLineFeed) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    writeLog(SIGFPE);
    const std::string header = "#\n# An unexpected error has occurred (8)\n#\nStack:\n";
    const std::string trace = readFile(scene.rawTrace());
    ASSERT_EQ(header, trace.substr(0, header.size()));

    // The last walk has left the frames in the array.
    const auto frames =
        std::count(trace.begin() + static_cast<long>(header.size()), trace.end(), '\n') - 1;
    ASSERT_GT(frames, 3);
    EXPECT_EQ(header + traceLines(s_btArray, static_cast<int>(frames)) + "\n", trace);
}

TEST_F(StackTraceTxtLogTest, TheHeaderIsWrittenAtOnce) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    const int traceFd = dup(0);
    close(traceFd);  // the descriptor that the raw trace will get
    std::vector<std::string> writes;
    const seams::ScopedSeam seam(seams::onWrite, [&](int fd, const void* data, std::size_t size) {
        if (fd == traceFd) writes.emplace_back(static_cast<const char*>(data), size);
        return std::nullopt;
    });
    writeLog(SIGILL);
    ASSERT_FALSE(writes.empty());
    EXPECT_EQ("#\n# An unexpected error has occurred (4)\n#\nStack:\n", writes.front());
    EXPECT_EQ("\n", writes.back());
}

TEST_F(StackTraceTxtLogTest, ANewRawTraceMayBeReadByAll) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    const mode_t before = umask(0);
    writeLog(SIGILL);
    umask(before);
    EXPECT_EQ(test_support::modeOf(scene.rawTrace()), 0644U);
}

TEST_F(StackTraceTxtLogTest, AnOlderLongerRawTraceIsWrittenOverAndCutOff) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    writeFile(scene.rawTrace(), std::string(100000, 'x'));
    writeLog(SIGILL);
    const std::string trace = readFile(scene.rawTrace());
    EXPECT_EQ(0U, trace.find("#\n# An unexpected"));
    EXPECT_EQ(std::string::npos, trace.find("xxxx"));
    EXPECT_EQ("]\n\n", trace.substr(trace.size() - 3));
}

TEST_F(StackTraceTxtLogTest, AnOlderTailSurvivesWhereNothingTruncatesOnPurpose) {
    test_support::leaveInArena(0);  // no handler can be made, so no trace is taken
    scene.writeStackTraceLog("log\n");
    writeFile(scene.rawTrace(), std::string(200, 'x'));
    writeLog(SIGILL);
    const std::string head = "#\n# An unexpected error has occurred (4)\n#\nStack:\n\n";
    EXPECT_EQ(head + std::string(200 - head.size(), 'x'), readFile(scene.rawTrace()));
}

TEST_F(StackTraceTxtLogTest, WithoutAHandlerTheHostsIsMade) {
    scene.writeStackTraceLog("log\n");
    HCrptResourceMgr::get();
    writeLog(SIGILL);
    EXPECT_GT(readFile(scene.rawTrace()).size(), 200U) << "no frames";
    HCrptExceptionHandlerBase* const handler = HCrptExceptionHandlerBase::get("Self");
    ASSERT_NE(nullptr, handler);
    EXPECT_EQ(nullptr, dynamic_cast<HCrptSelfLinuxExceptionHandler*>(handler));
}

TEST_F(StackTraceTxtLogTest, TheCrashReportersHandlerTakesTheTraceAsWell) {
    ASSERT_NE(nullptr, HCrptExceptionHandlerBase::get("Self"));
    scene.writeStackTraceLog("log\n");
    writeLog(SIGILL);
    EXPECT_GT(readFile(scene.rawTrace()).size(), 200U) << "no frames";
}

TEST_F(StackTraceTxtLogTest, NoDescriptorStaysOpen) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    const auto descriptors = [] { return test_support::namesIn("/proc/self/fd").size(); };
    const std::size_t before = descriptors();
    writeLog(SIGILL);
    EXPECT_EQ(before, descriptors());
}

// --- The raw trace cannot be written ------------------------------------------------------------

const std::string kUnable =
    "Unable to write a stacktrace file, probably because current directory is not writable.\n";

TEST_F(StackTraceTxtLogTest, WithoutARawTraceFileThereIsOnlyTheMessage) {
    scene.platform.fakeWorkingDirectory = scene.work() + "/missing";
    makeHandler();
    const StdoutCapture capture;
    writeLog(SIGABRT);
    EXPECT_EQ(announcement(SIGABRT) + kUnable, capture.flushedText());
    EXPECT_EQ(std::vector<std::string>(), copies);
    EXPECT_EQ(0, testsForLog);
    EXPECT_EQ(0, sleeps);
    EXPECT_FALSE(std::filesystem::exists(scene.store()));
}

TEST_F(StackTraceTxtLogTest, DescriptorZeroCountsAsFailureOnPurpose) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    ChildProcess child = ChildProcess::fork([this] {
        close(STDIN_FILENO);
        writeLog(SIGABRT);
        return copies.empty() && sleeps == 0 ? 0 : 1;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
    EXPECT_EQ(announcement(SIGABRT) + kUnable, child.standardOutput());
    EXPECT_EQ("", readFile(scene.rawTrace()));
}

// --- Hand-over ----------------------------------------------------------------------------------

TEST_F(StackTraceTxtLogTest, AReadyLogIsCopiedToTheWorkingDirectoryAndNamed) {
    makeHandler();
    scene.writeStackTraceLog("readable\n");
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    const std::string copy = scene.work() + "/hs_err_pid4242.log";
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(copy), capture.flushedText());
    EXPECT_EQ("readable\n", readFile(copy));
    EXPECT_EQ(readFile(scene.rawTrace()), readFile(scene.store() + "/hs_mangled_err_pid4242.log"));
    EXPECT_EQ((std::vector<std::string>{scene.rawTrace() + " -> " + scene.store() + " mode 1",
                                        scene.stackTraceLog() + " -> " + scene.work() + " mode 1"}),
              copies);
    EXPECT_EQ(0, sleeps);
}

TEST_F(StackTraceTxtLogTest, TheAnnouncementHasNoLineFeedOnPurpose) {
    makeHandler();
    std::string duringWait;
    const StdoutCapture capture;
    duringSleep = [&] { duringWait = capture.text(); };
    writeLog(SIGQUIT);
    EXPECT_EQ(announcement(SIGQUIT), duringWait);
}

TEST_F(StackTraceTxtLogTest, TheCopyOfTheLogIsThereBeforeItIsNamed) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    const StdoutCapture capture;
    std::string saidBefore;
    scene.platform.onCopyToDir = [&](const std::string& path, const auto&...) {
        if (path == scene.stackTraceLog()) saidBefore = capture.text();
        return true;
    };
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV), saidBefore);
    EXPECT_NE(saidBefore, capture.text());
}

TEST_F(StackTraceTxtLogTest, TheRawTraceIsInTheStoreBeforeTheWait) {
    makeHandler();
    std::string inStore;
    duringSleep = [&] {
        if (sleeps == 1) inStore = readFile(scene.store() + "/hs_mangled_err_pid4242.log");
    };
    writeLog(SIGSEGV);
    EXPECT_NE("", inStore);
    EXPECT_EQ(readFile(scene.rawTrace()), inStore);
}

TEST_F(StackTraceTxtLogTest, TheLogIsCopiedToTheWorkingDirectoryOfTheCrash) {
    makeHandler();
    scene.writeStackTraceLog("readable\n");
    const std::string start = scene.work();
    const std::string now = start + "/now";
    std::filesystem::create_directory(now);
    scene.platform.fakeWorkingDirectory = now;
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(now + "/hs_err_pid4242.log"), capture.flushedText());
    EXPECT_EQ((std::vector<std::string>{"hs_err_pid4242.log"}), test_support::namesIn(now));
    EXPECT_EQ((std::vector<std::string>{"hs_mangled_err_pid4242.log", "now"}),
              test_support::namesIn(start))
        << "the raw trace's place was fixed at the start";
}

TEST_F(StackTraceTxtLogTest,
       TheRawTraceGoesToTheStoreOfTheCrashAndTheLogIsAwaitedInThatOfTheStart) {
    makeHandler();
    scene.writeStackTraceLog("readable\n");
    const test_support::ScopedEnvVar session("ZEB_SESSION_INFO", scene.work() + ":later");
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.work() + "/hs_err_pid4242.log"),
              capture.flushedText());
    EXPECT_EQ((std::vector<std::string>{"hs_err_pid4242.log"}),
              test_support::namesIn(scene.store()));
    EXPECT_EQ((std::vector<std::string>{"hs_mangled_err_pid4242.log"}),
              test_support::namesIn(scene.work() + "/.crashReporter/later/crashStore"));
}

TEST_F(StackTraceTxtLogTest, AMissingStoreIsMade) {
    makeHandler();
    duringSleep = [this] { writeFile(scene.stackTraceLog(), "log\n"); };
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.work() + "/hs_err_pid4242.log"),
              capture.flushedText());
    EXPECT_NE("", readFile(scene.store() + "/hs_mangled_err_pid4242.log"));
}

TEST_F(StackTraceTxtLogTest, WithoutAStoreTheRawTraceIsNamedAndNothingIsWaitedFor) {
    makeHandler();
    scene.makeStoreImpossible();
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + "[Crash Reporter] Error: Could not create crash store at: " +
                  scene.store() + " Please check folder path exists or has write permission.\n" +
                  pointTo(scene.rawTrace()) +
                  "[Crash Reporter] Could not copy hs_mangled_err_pid<pid>.log in the crash store "
                  "in absence of a crashStore\n",
              capture.flushedText());
    EXPECT_EQ(std::vector<std::string>(), copies);
    EXPECT_EQ(0, testsForLog);
    EXPECT_EQ(0, sleeps);
    EXPECT_GT(readFile(scene.rawTrace()).size(), 200U);
}

TEST_F(StackTraceTxtLogTest, ALogThatNeverComesIsWaitedForAHundredSeconds) {
    makeHandler();
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.rawTrace()), capture.flushedText());
    EXPECT_EQ(kLogWaitTests, sleeps);
    EXPECT_EQ(kLogWaitTests + 1, testsForLog) << "and looked for once more after the last second";
    EXPECT_EQ(1U, copies.size());
}

TEST_F(StackTraceTxtLogTest, ALogThatComesIsTakenAtTheNextLook) {
    makeHandler();
    duringSleep = [this] {
        if (sleeps == 3) writeFile(scene.stackTraceLog(), "log\n");
    };
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.work() + "/hs_err_pid4242.log"),
              capture.flushedText());
    EXPECT_EQ(3, sleeps);
}

TEST_F(StackTraceTxtLogTest, ALogThatComesInTheLastSecondIsTaken) {
    makeHandler();
    duringSleep = [this] {
        if (sleeps == kLogWaitTests) writeFile(scene.stackTraceLog(), "log\n");
    };
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.work() + "/hs_err_pid4242.log"),
              capture.flushedText());
    EXPECT_EQ(kLogWaitTests, sleeps);
}

class TracelessHandler : public HCrptExceptionHandlerBase {
  public:
    bool install() override { return true; }
    bool printTrace(int, unsigned long) override { return true; }
    bool printTraceMangled(int, unsigned long frames) override {
        askedFor = frames;
        return false;
    }

    static unsigned long askedFor;
};
unsigned long TracelessHandler::askedFor = 0;

TEST_F(StackTraceTxtLogTest, AHandlerThatTookNoTraceHandsNothingOverButWaits) {
    // In place of the one handler object of the process.
    static_assert(sizeof(TracelessHandler) <= sizeof(HCrptLinuxExceptionHandler));
    makeHandler();
    ::new (static_cast<void*>(HCrptExceptionHandlerBase::get(""))) TracelessHandler;
    scene.writeStackTraceLog("log\n");
    const StdoutCapture capture;
    writeLog(SIGSEGV);
    EXPECT_EQ(100U, TracelessHandler::askedFor);
    EXPECT_EQ(announcement(SIGSEGV) + pointTo(scene.work() + "/hs_err_pid4242.log"),
              capture.flushedText());
    EXPECT_EQ(std::vector<std::string>{scene.stackTraceLog() + " -> " + scene.work() + " mode 1"},
              copies);
    EXPECT_FALSE(std::filesystem::exists(scene.store() + "/hs_mangled_err_pid4242.log"));
}

// A copy that hangs, on a lost file server for one, must not keep the process forever; the wait
// for the log must not be cut short.
TEST_F(StackTraceTxtLogTest, TheCopiesAreBoundedTo20SecondsEachAndTheWaitApartFromThem) {
    makeHandler();
    ChildProcess child = ChildProcess::fork([this] {
        hcrpt::Watchdog::enable(1);
        std::vector<long> atCopies;
        long inWait = 0;
        scene.platform.onCopyToDir = [&](const auto&...) {
            atCopies.push_back(hcrpt::Watchdog::secondsLeft());
            return true;
        };
        duringSleep = [&] {
            inWait = hcrpt::Watchdog::secondsLeft();
            scene.writeStackTraceLog("log\n");
        };
        writeLog(SIGSEGV);
        if (atCopies.size() != 2) return 2;
        for (const long left : atCopies)
            if (left <= 0 || left > 20) return 3;
        return inWait > 100 && inWait <= 120 ? 0 : 4;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

TEST_F(StackTraceTxtLogTest, TheHandOverLeavesTheStackOfTheSignal) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    std::uintptr_t frame = 0;
    scene.platform.onCopyToDir = [&](const auto&...) {
        frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
        return true;
    };
    writeLog(SIGSEGV);
    ASSERT_NE(0U, frame);
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    EXPECT_GT(std::max(here, frame) - std::min(here, frame), hcrpt::CrashStack::kSize);
}

TEST_F(StackTraceTxtLogTest, NoExceptionOfTheHandOverLeavesIt) {
    makeHandler();
    scene.writeStackTraceLog("log\n");
    int calls = 0;
    scene.platform.onCopyToDir = [&](const auto&...) -> bool {
        ++calls;
        throw std::bad_alloc();
    };
    EXPECT_NO_THROW(writeLog(SIGSEGV));
    EXPECT_EQ(1, calls);
}

}  // namespace

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <set>

#include "hcrpt/HCrashCapture.h"
#include "lifecycle/Session.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using std::chrono::seconds;
using std::chrono::steady_clock;
using namespace test_support;

constexpr int kLock = LOCK_EX | LOCK_NB;
constexpr int kUnlock = LOCK_UN;

/// The exclusive lock of a file, as another process would hold it.
class HeldLock {
  public:
    explicit HeldLock(const std::string& path)
        : m_fd(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC)) {
        EXPECT_EQ(flock(m_fd, LOCK_EX | LOCK_NB), 0);
    }
    ~HeldLock() { release(); }
    HeldLock(const HeldLock&) = delete;
    HeldLock& operator=(const HeldLock&) = delete;
    void release() {
        if (m_fd >= 0) {
            flock(m_fd, LOCK_UN);  // by name: forked children hold the same lock
            close(m_fd);
        }
        m_fd = -1;
    }

  private:
    int m_fd;
};

bool hasHandler(int signal, void (*handler)(int)) {
    struct sigaction action = {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == handler;
}

bool crashHandlersAreInstalled() {
    for (const int signal : {SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGQUIT, SIGSEGV})
        if (!hasHandler(signal,
                        HCrashReporter::HCrptLinuxExceptionHandler::crptDefaultLinuxHandler))
            return false;
    return true;
}

class RegistrationTest : public lifecycle_test::SessionTest {
  protected:
    /// Appends the record of a process of that id.
    bool write(int pid) {
        platform.fakePid = pid;
        return HCrashReporter::writeProcIdToFile(registrations);
    }
    static std::vector<std::string> openDescriptors() {
        return test_support::namesIn("/proc/self/fd");
    }

    std::vector<int> locks;  ///< operations of flock() so far
    std::optional<int> unlockAnswer;
    seams::ScopedSeam<decltype(seams::onFlock)> lockSeam{
        seams::onFlock, [this](int, int operation) {
            locks.push_back(operation);
            return operation == kUnlock ? unlockAnswer : std::nullopt;
        }};
};

// --- writeProcIdToFile ----------------------------------------------------------------------

TEST_F(RegistrationTest, ARecordIsHostNameColonProcessIdAndALineFeedBehindAllOthers) {
    struct Case {
        const char* title;
        const char* before;
        const char* host;
        int pid;
        const char* record;
    };
    const Case cases[] = {
        {"the first", "", "testhost", 4711, "testhost:4711\n"},
        {"a signed decimal number", "", "testhost", -2147483647 - 1, "testhost:-2147483648\n"},
        {"nothing is cut off", "otherhost:1\ntesthost:22222222\n", "testhost", 5, "testhost:5\n"},
        {"twice the same", "testhost:5\n", "testhost", 5, "testhost:5\n"},
        {"a blank stays", "", "my host", 5, "my host:5\n"},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.title);
        writeRegistrations(each.before);
        platform.fakeHostName = each.host;
        EXPECT_TRUE(write(each.pid));
        EXPECT_EQ(readFile(registrations), std::string(each.before) + each.record);
    }
}

TEST_F(RegistrationTest, AFreeLockIsTakenAtOnceAndGivenBack) {
    writeRegistrations("");
    StdoutCapture output;
    const auto before = openDescriptors();
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(locks, (std::vector<int>{kLock, kUnlock}));
    EXPECT_TRUE(pauses.seconds.empty());
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(output.text(), "");
    const HeldLock canBeTakenNow(registrations);
}

TEST_F(RegistrationTest, AMissingFileIsASilentFailureAndIsNotMade) {
    makeStore();
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(std::filesystem::exists(registrations));
    EXPECT_TRUE(locks.empty());
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(RegistrationTest, AFailedOpenIsClosedAllTheSame) {
    errno = 0;
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(errno, EBADF) << "what close(-1) leaves";
}

TEST_F(RegistrationTest, ALockHeldThroughoutCostsThreeAttemptsEachFollowedByASecond) {
    writeRegistrations("before\n");
    const HeldLock held(registrations);
    pauses.areReal = true;
    locks.clear();
    StdoutCapture output;
    const auto before = openDescriptors();
    const auto start = steady_clock::now();
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_GE(steady_clock::now() - start, seconds(3));
    EXPECT_EQ(pauses.seconds, (std::vector<long>{1, 1, 1}));
    EXPECT_EQ(locks, (std::vector<int>{kLock, kLock, kLock}));
    EXPECT_EQ(readFile(registrations), "before\n");
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(output.text(), "");
}

TEST_F(RegistrationTest, ALockIsTakenWhenItIsFreedBeforeTheThirdAttempt) {
    for (const std::size_t freedInPause : {1u, 2u, 3u}) {
        SCOPED_TRACE(freedInPause);
        writeRegistrations("");
        HeldLock held(registrations);
        pauses.seconds.clear();
        pauses.onPause = [&](std::size_t number) {
            if (number == freedInPause) held.release();
        };
        EXPECT_EQ(write(5), freedInPause < 3);
        EXPECT_EQ(pauses.seconds.size(), freedInPause);
        EXPECT_EQ(readFile(registrations), freedInPause < 3 ? "testhost:5\n" : "");
    }
}

TEST_F(RegistrationTest, ALockThatAnotherProcessHoldsForASecondIsWaitedFor) {
    writeRegistrations("");
    pauses.areReal = true;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    ChildProcess other = ChildProcess::fork([&] {
        const HeldLock held(registrations);
        if (::write(ready[1], "x", 1) != 1) return 1;
        HCrashRptUtils::sleep(1);
        return 0;
    });
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_TRUE(write(5));
    EXPECT_GE(pauses.seconds.size(), 1u);
    EXPECT_EQ(readFile(registrations), "testhost:5\n");
    EXPECT_EQ(other.wait(), exitedWith(0));
    close(ready[0]);
    close(ready[1]);
}

TEST_F(RegistrationTest, AWriteThatFailsIsNotReported) {
    makeStore();
    std::filesystem::create_symlink("/dev/full", registrations);
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(output.text(), "");
}

TEST_F(RegistrationTest, ResultsOfWriteAndUnlockAreIgnoredAndNothingIsTriedAgain) {
    unlockAnswer = -1;
    for (const ssize_t result : {-1, 0, 3}) {
        writeRegistrations("");
        locks.clear();
        std::vector<std::string> written;
        StdoutCapture output;
        {
            const seams::ScopedSeam seam(
                seams::onWrite, [&](int, const void* bytes, std::size_t size) {
                    written.emplace_back(static_cast<const char*>(bytes), size);
                    return result;
                });
            EXPECT_TRUE(write(5));
        }
        EXPECT_EQ(written, std::vector<std::string>{"testhost:5\n"});
        EXPECT_EQ(locks, (std::vector<int>{kLock, kUnlock}));
        EXPECT_TRUE(pauses.seconds.empty());
        EXPECT_EQ(output.text(), "");
    }
}

TEST_F(RegistrationTest, RecordsOfManyProcessesAtOnceAreAllWhole) {
    writeRegistrations("");
    pauses.areReal = true;
    // Longer than a page, so that writes without the lock would be seen in each other.
    platform.fakeHostName = std::string(6000, 'h');
    constexpr int kProcesses = 24;
    std::vector<ChildProcess> children;
    {
        // All of them find the lock held, pause a second and come back at the same time.
        const HeldLock held(registrations);
        for (int i = 0; i < kProcesses; ++i)
            children.push_back(ChildProcess::fork(
                [&] { return HCrashReporter::writeProcIdToFile(registrations) ? 0 : 1; }));
    }
    std::multiset<std::string> expected;
    for (ChildProcess& child : children)
        if (child.wait() == exitedWith(0))
            expected.insert(platform.fakeHostName + ":" + std::to_string(child.pid()));
    std::ifstream in(registrations);
    std::multiset<std::string> written;
    for (std::string line; std::getline(in, line);) written.insert(line);
    EXPECT_TRUE(written == expected) << written.size() << " lines of " << expected.size();
    EXPECT_GE(written.size(), 1u);
}

// --- registerThisProcess --------------------------------------------------------------------

TEST_F(RegistrationTest, RegistersInTheFileOfTheSession) {
    writeRegistrations("");
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(readFile(registrations), "testhost:" + livePid() + "\n");
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(RegistrationTest, ARegisteredProcessHasLeftItsFacts) {
    writeRegistrations("");
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_NE(readFile(store + "/.processfacts_testhost_" + livePid()).find("\"testprogram\""),
              std::string::npos);
}

TEST_F(RegistrationTest, ALogThatAnEarlierProcessOfTheSameIdHasLeftIsRemoved) {
    writeRegistrations("");
    writeFile(stackTraceLog(livePid()), "an earlier process's");
    std::filesystem::last_write_time(
        stackTraceLog(livePid()),
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(24 * 365 * 10));
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_FALSE(std::filesystem::exists(stackTraceLog(livePid())));
}

TEST_F(RegistrationTest, AProcessThatCouldNotRegisterLeavesNoFacts) {
    writeRegistrations("");
    const HeldLock held(registrations);
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(test_support::namesIn(store), std::vector<std::string>{"processRegFile.txt"});
}

TEST_F(RegistrationTest, FactsThatCannotBeLeftCostNothing) {
    writeRegistrations("");
    std::filesystem::create_directory(store + "/.processfacts_testhost_" + livePid());
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(readFile(registrations), "testhost:" + livePid() + "\n");
    EXPECT_EQ(output.text(), "");
}

TEST_F(RegistrationTest, WithoutAFileItGivesUpSilentlyAfterTwoSecondsAndMakesNothing) {
    pauses.areReal = true;
    StdoutCapture output;
    const auto start = steady_clock::now();
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_GE(steady_clock::now() - start, seconds(2));
    EXPECT_EQ(pauses.seconds, (std::vector<long>{1, 1}));
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(std::filesystem::exists(directory / ".crashReporter"));
}

TEST_F(RegistrationTest, WithoutAFileItTestsThreeTimesAndOnceMore) {
    int tests = 0;
    platform.onExists = [&](const std::string& path) {
        EXPECT_EQ(path, registrations);
        ++tests;
        return false;
    };
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(tests, 4);
    EXPECT_EQ(pauses.seconds.size(), 2u);
}

TEST_F(RegistrationTest, AFileThatAppearsWhileWaitingIsUsed) {
    for (const std::size_t appearsInSleep : {1u, 2u}) {
        pauses.seconds.clear();
        std::filesystem::remove(registrations);
        pauses.onPause = [&](std::size_t number) {
            if (number == appearsInSleep) writeRegistrations("");
        };
        EXPECT_TRUE(HCrashReporter::registerThisProcess());
        EXPECT_EQ(pauses.seconds.size(), appearsInSleep);
        EXPECT_EQ(readFile(registrations), "testhost:" + livePid() + "\n");
    }
}

TEST_F(RegistrationTest, AFileThatAppearsAtTheLastTestIsUsed) {
    writeRegistrations("");
    int tests = 0;
    platform.onExists = [&](const std::string&) { return ++tests == 4; };
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(tests, 4);
}

TEST_F(RegistrationTest, AFileThatIsGoneAtTheLastTestIsNotUsed) {
    writeRegistrations("");
    int tests = 0;
    platform.onExists = [&](const std::string&) { return ++tests == 1; };
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(tests, 2);
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_TRUE(pauses.seconds.empty());
}

TEST_F(RegistrationTest, AFileThatCannotBeOpenedIsASilentFailure) {
    std::filesystem::create_directories(registrations);  // a directory cannot be written to
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(pauses.seconds.empty());
}

// --- registration ---------------------------------------------------------------------------

TEST_F(RegistrationTest, RegistrationRegistersAndInstallsTheCrashHandlers) {
    writeRegistrations("");
    ChildProcess host = ChildProcess::fork([] {
        if (crashHandlersAreInstalled()) return 2;
        HCrashReporter::registration();
        if (!hasHandler(SIGINT, SIG_DFL)) return 3;
        return crashHandlersAreInstalled() ? 0 : 1;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
    EXPECT_EQ(readFile(registrations), "testhost:" + std::to_string(host.pid()) + "\n");
    EXPECT_EQ(host.standardOutput(), "");
}

TEST_F(RegistrationTest, RegistrationInstallsTheCrashHandlersEvenWhenItCannotRegister) {
    ChildProcess host = ChildProcess::fork([this] {
        bool installedTooEarly = false;
        pauses.onPause = [&](std::size_t) { installedTooEarly |= crashHandlersAreInstalled(); };
        HCrashReporter::registration();
        if (pauses.seconds.size() != 2 || installedTooEarly) return 2;
        return crashHandlersAreInstalled() ? 0 : 1;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
    EXPECT_FALSE(std::filesystem::exists(registrations));
    EXPECT_EQ(host.standardOutput(), "");
}

// The host's own handlers may need its size.
TEST_F(RegistrationTest, ALargerAlternateStackThatTheThreadHadIsPutBack) {
    writeRegistrations("");
    for (const bool isLarger : {true, false}) {
        ChildProcess host = ChildProcess::fork([isLarger] {
            static char memory[64 * 1024];
            stack_t own = {};
            own.ss_sp = memory;
            own.ss_size = isLarger ? sizeof memory : 8192;
            if (sigaltstack(&own, nullptr) != 0) return 1;
            HCrashReporter::registration();
            stack_t after = {};
            if (sigaltstack(nullptr, &after) != 0 || after.ss_flags != 0) return 2;
            return (after.ss_sp == memory) == isLarger ? 0 : 3;
        });
        EXPECT_EQ(host.wait(), exitedWith(0)) << isLarger;
    }
}

TEST_F(RegistrationTest, TheReportersOwnHandlersIgnoreTheTerminalsInterrupt) {
    ChildProcess reporter = ChildProcess::fork([] {
        HCrashReporter::installSelfSignalHandler();
        if (!crashHandlersAreInstalled()) return 1;
        return raise(SIGINT) == 0 && hasHandler(SIGINT, SIG_IGN) ? 0 : 2;
    });
    EXPECT_EQ(reporter.wait(), exitedWith(0));
}

}  // namespace

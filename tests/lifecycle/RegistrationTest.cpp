#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <set>

#include "hcrpt/HCrashCapture.h"
#include "lifecycle/Session.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using lifecycle_test::spies;
using std::chrono::seconds;
using std::chrono::steady_clock;
using namespace test_support;

const std::string kLock = "LOCK_EX|LOCK_NB";
const std::string kUnlock = "LOCK_UN";

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

using RegistrationTest = lifecycle_test::SessionTest;

// --- writeProcIdToFile ----------------------------------------------------------------------

TEST_F(RegistrationTest, ARecordIsHostNameColonProcessIdAndALineFeed) {
    writeRegistrations("");
    platform.fakePid = 4711;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "testhost:4711\n");
}

TEST_F(RegistrationTest, TheProcessIdIsASignedDecimalNumber) {
    writeRegistrations("");
    platform.fakePid = -2147483647 - 1;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "testhost:-2147483648\n");
}

TEST_F(RegistrationTest, RecordsAreAppendedAndNothingIsCutOff) {
    writeRegistrations("otherhost:1\ntesthost:22222222\n");
    platform.fakePid = 5;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "otherhost:1\ntesthost:22222222\ntesthost:5\n");
}

TEST_F(RegistrationTest, TwoRecordsOfTheSameProcessIdAreBothKept) {
    writeRegistrations("");
    platform.fakePid = 5;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "testhost:5\ntesthost:5\n");
}

TEST_F(RegistrationTest, AHostNameWithABlankIsWrittenAsItIs) {
    writeRegistrations("");
    platform.fakeHostName = "my host";
    platform.fakePid = 5;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "my host:5\n");
}

TEST_F(RegistrationTest, AFreeLockIsTakenAtOnceAndGivenBack) {
    writeRegistrations("");
    StdoutCapture output;
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(spies().locks, (std::vector<std::string>{kLock, kUnlock}));
    EXPECT_TRUE(spies().sleeps.empty());
    ASSERT_EQ(spies().closed.size(), 1u);
    EXPECT_GE(spies().closed[0], 0);
    EXPECT_EQ(output.text(), "");
    const HeldLock canBeTakenNow(registrations);
}

TEST_F(RegistrationTest, AMissingFileIsASilentFailureAndIsNotMade) {
    makeStore();
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(output.text(), "");
    EXPECT_FALSE(std::filesystem::exists(registrations));
    EXPECT_TRUE(spies().locks.empty());
    EXPECT_TRUE(spies().sleeps.empty());
}

TEST_F(RegistrationTest, AFailedOpenIsClosedAllTheSame) {
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(spies().closed, std::vector<int>{-1});
}

TEST_F(RegistrationTest, ALockHeldThroughoutCostsThreeAttemptsEachFollowedByASecond) {
    writeRegistrations("before\n");
    const HeldLock held(registrations);
    StdoutCapture output;
    const auto start = steady_clock::now();
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_GE(steady_clock::now() - start, seconds(3));
    EXPECT_EQ(spies().sleeps, (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(spies().locks, (std::vector<std::string>{kLock, kLock, kLock}));
    EXPECT_EQ(readFile(registrations), "before\n");
    ASSERT_EQ(spies().closed.size(), 1u);
    EXPECT_GE(spies().closed[0], 0);
    EXPECT_EQ(output.text(), "");
}

TEST_F(RegistrationTest, ALockThatIsFreedBeforeTheThirdAttemptIsTaken) {
    writeRegistrations("");
    platform.fakePid = 5;
    HeldLock held(registrations);
    spies().onSleep = [&](std::size_t number) {
        if (number == 2) held.release();
    };
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(spies().sleeps, (std::vector<int>{1, 1}));
    EXPECT_EQ(spies().locks, (std::vector<std::string>{kLock, kLock, kLock, kUnlock}));
    EXPECT_EQ(readFile(registrations), "testhost:5\n");
}

TEST_F(RegistrationTest, ALockThatIsFreedAfterTheThirdAttemptComesTooLate) {
    writeRegistrations("");
    HeldLock held(registrations);
    spies().onSleep = [&](std::size_t number) {
        if (number == 3) held.release();
    };
    EXPECT_FALSE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_EQ(readFile(registrations), "");
}

TEST_F(RegistrationTest, ALockThatAnotherProcessHoldsForASecondIsWaitedFor) {
    writeRegistrations("");
    platform.fakePid = 5;
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    ChildProcess other = ChildProcess::fork([&] {
        const HeldLock held(registrations);
        if (write(ready[1], "x", 1) != 1) return 1;
        HCrashRptUtils::sleep(1);
        return 0;
    });
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
    EXPECT_GE(spies().sleeps.size(), 1u);
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
    platform.fakePid = 5;
    for (const ssize_t result : {-1, 0, 3}) {
        writeRegistrations("");
        spies() = {};
        spies().writeAnswer = result;
        spies().unlockAnswer = -1;
        StdoutCapture output;
        EXPECT_TRUE(HCrashReporter::writeProcIdToFile(registrations));
        EXPECT_EQ(spies().written, std::vector<std::string>{"testhost:5\n"});
        EXPECT_EQ(spies().locks, (std::vector<std::string>{kLock, kUnlock}));
        EXPECT_TRUE(spies().sleeps.empty());
        EXPECT_EQ(output.text(), "");
    }
}

TEST_F(RegistrationTest, RecordsOfManyProcessesAtOnceAreAllWhole) {
    writeRegistrations("");
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
    EXPECT_TRUE(spies().sleeps.empty());
}

TEST_F(RegistrationTest, ARegisteredProcessHasLeftItsFacts) {
    writeRegistrations("");
    EXPECT_TRUE(HCrashReporter::registerThisProcess());
    EXPECT_NE(readFile(store + "/.processfacts_testhost_" + livePid()).find("\"testprogram\""),
              std::string::npos);
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
    StdoutCapture output;
    const auto start = steady_clock::now();
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_GE(steady_clock::now() - start, seconds(2));
    EXPECT_EQ(spies().sleeps, (std::vector<int>{1, 1}));
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
    EXPECT_EQ(spies().sleeps.size(), 2u);
}

TEST_F(RegistrationTest, AFileThatAppearsWhileWaitingIsUsed) {
    for (const std::size_t appearsInSleep : {1u, 2u}) {
        spies().sleeps.clear();
        std::filesystem::remove(registrations);
        spies().onSleep = [&](std::size_t number) {
            if (number == appearsInSleep) writeRegistrations("");
        };
        EXPECT_TRUE(HCrashReporter::registerThisProcess());
        EXPECT_EQ(spies().sleeps.size(), appearsInSleep);
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
    EXPECT_TRUE(spies().sleeps.empty());
}

TEST_F(RegistrationTest, AFileThatCannotBeOpenedIsASilentFailure) {
    std::filesystem::create_directories(registrations);  // a directory cannot be written to
    StdoutCapture output;
    EXPECT_FALSE(HCrashReporter::registerThisProcess());
    EXPECT_EQ(output.text(), "");
    EXPECT_TRUE(spies().sleeps.empty());
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
    ChildProcess host = ChildProcess::fork([] {
        bool installedTooEarly = false;
        spies().onSleep = [&](std::size_t) { installedTooEarly |= crashHandlersAreInstalled(); };
        HCrashReporter::registration();
        if (spies().sleeps.size() != 2 || installedTooEarly) return 2;
        return crashHandlersAreInstalled() ? 0 : 1;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
    EXPECT_FALSE(std::filesystem::exists(registrations));
    EXPECT_EQ(host.standardOutput(), "");
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

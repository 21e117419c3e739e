#include <gtest/gtest.h>
#include <sys/stat.h>

#include "lifecycle/Session.h"
#include "support/ChildProcess.h"

namespace {

using lifecycle_test::kDeadPid;
using namespace test_support;

class RegistrationFileTest : public lifecycle_test::SessionTest {
  protected:
    /// Runs createProcessRegistrationFile() in a crash reporter of its own, since it redirects
    /// standard output.
    void create() {
        ChildProcess reporter = ChildProcess::fork([this] {
            if (redirectedBefore) HCrashRptUtils::redirectedStdOut = true;
            // A directory in the log's place cannot be opened for writing.
            if (logCannotBeOpened) std::filesystem::create_directories(logPath(getpid()));
            umask(0);
            return HCrashReporter::createProcessRegistrationFile() ? 1 : 0;
        });
        state = reporter.wait();
        console = reporter.standardOutput();
        pid = reporter.pid();
        haveLog = std::filesystem::is_regular_file(logPath(pid));
        if (haveLog) log = withoutFirstLine(readFile(logPath(pid)));
    }

    std::string logPath(pid_t reporter) const {
        return sessionDirectory + "/crashReporter" + std::to_string(reporter) + ".log";
    }

    std::string withoutFirstLine(const std::string& text) const {
        EXPECT_EQ(text.rfind("[Crash Reporter] Started with processId = " + std::to_string(pid), 0),
                  0u);
        return text.substr(text.find('\n') + 1);
    }

    ino_t registrationFileId() const {
        struct stat status = {};
        EXPECT_EQ(stat(registrations.c_str(), &status), 0);
        return status.st_ino;
    }

    bool redirectedBefore = false;
    bool logCannotBeOpened = false;
    pid_t pid = -1;
    test_support::ExitState state;
    std::string console;
    bool haveLog = false;
    std::string log;
    const std::string noStore =
        "[Crash Reporter] Error: Could not create crash store at: " + store +
        " Please check folder path exists or has write permission.\n";
    // Two blanks before "so".
    const std::string noFileWithoutStore =
        "[Crash Reporter] Error: Crash store could not be created,  so process registration file " +
        registrations + " could not be created either.\n";
    const std::string created =
        "[Crash Reporter] Created Process registration file in crash store: " + registrations +
        "\n";
};

TEST_F(RegistrationFileTest, AFreshSessionGetsAnEmptyFileAndTheLogSaysSo) {
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_EQ(console, "");
    EXPECT_EQ(log, created);
}

TEST_F(RegistrationFileTest, TheFileIsForItsOwnerOnlyWhateverTheUmask) {
    create();
    EXPECT_EQ(test_support::modeOf(registrations), 0600u);
}

TEST_F(RegistrationFileTest, TheFileIsClosedAgain) {
    ChildProcess reporter = ChildProcess::fork([] {
        const auto before = test_support::namesIn("/proc/self/fd");
        if (HCrashReporter::createProcessRegistrationFile()) return 1;
        return test_support::namesIn("/proc/self/fd") == before ? 0 : 2;
    });
    EXPECT_EQ(reporter.wait(), exitedWith(0));
}

TEST_F(RegistrationFileTest, AStoreWithoutARegistrationFileKeepsWhatItHolds) {
    const std::string report = add("CrashReport_1.json");
    const std::string trace = add("hs_mangled_err_pid1.log", "raw");
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_EQ(readFile(report), "{}");
    EXPECT_EQ(readFile(trace), "raw");
    EXPECT_EQ(console, "");
    EXPECT_EQ(log, created);
}

TEST_F(RegistrationFileTest, WhenAllRegisteredProcessesAreDeadTheStoreIsMadeAnew) {
    writeRegistrations(std::string("testhost:") + kDeadPid + "\n");
    writeFile(store + "/hs_err_pid1.log", "old log");
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(test_support::namesIn(store), std::vector<std::string>{"processRegFile.txt"});
    EXPECT_EQ(readFile(registrations), "");
    // Before the redirection: the old store is deleted and its record is not announced.
    EXPECT_EQ(console, "[Crash Reporter] Deleted crash store.\n");
    EXPECT_EQ(log, created);
}

TEST_F(RegistrationFileTest, OtherMachinesProcessesDoNotKeepTheOldStore) {
    writeRegistrations("otherhost:" + livePid() + "\n");
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(readFile(registrations), "");
}

TEST_F(RegistrationFileTest, WithALiveProcessNothingIsTouchedAndNothingRedirected) {
    const std::string before = "testhost:" + livePid() + "\n";
    writeRegistrations(before);
    writeFile(store + "/hs_err_pid1.log", "old log");
    const ino_t id = registrationFileId();
    create();
    EXPECT_EQ(state, exitedWith(1));
    EXPECT_EQ(readFile(registrations), before);
    EXPECT_EQ(registrationFileId(), id);
    EXPECT_EQ(readFile(store + "/hs_err_pid1.log"), "old log");
    EXPECT_EQ(console, "");
    EXPECT_FALSE(haveLog);
}

TEST_F(RegistrationFileTest, WithAWaitingReportNothingIsTouched) {
    const std::string before = std::string("testhost:") + kDeadPid + "\n";
    writeRegistrations(before);
    const std::string report = add("CrashReport_1.json");
    create();
    EXPECT_EQ(state, exitedWith(1));
    EXPECT_EQ(readFile(registrations), before);
    EXPECT_EQ(readFile(report), "{}");
    EXPECT_EQ(console, "");
    EXPECT_FALSE(haveLog);
}

TEST_F(RegistrationFileTest, AnEmptyFileIsWaitedForAndThenMadeAnew) {
    writeRegistrations("");
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(console, "[Crash Reporter] Deleted crash store.\n");
    EXPECT_EQ(log, created);
}

TEST_F(RegistrationFileTest, AStoreThatCannotBeDeletedKeepsItsFileCutToNothing) {
    writeRegistrations(std::string("testhost:") + kDeadPid + "\n");
    const ino_t id = registrationFileId();
    platform.onRmRecursive = [](const std::string&) { return false; };
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_EQ(registrationFileId(), id) << "a host that holds it open must not lose it";
    EXPECT_EQ(console, "[Crash Reporter] Error: Could not delete crash store.\n");
    EXPECT_EQ(log, created);
}

TEST_F(RegistrationFileTest, AStoreThatCannotBeMadeIsReportedInTheLog) {
    std::filesystem::create_directories(sessionDirectory);
    platform.onMkDirRecursive = [](const std::string&) { return false; };
    create();
    EXPECT_EQ(state, exitedWith(1));
    EXPECT_FALSE(std::filesystem::exists(registrations));
    EXPECT_EQ(console, noStore);
    EXPECT_EQ(log, noFileWithoutStore);
}

TEST_F(RegistrationFileTest, WhereNothingAtAllCanBeMadeTheConsoleSaysSo) {
    platform.onMkDirRecursive = [](const std::string&) { return false; };
    create();
    EXPECT_EQ(state, exitedWith(1));
    EXPECT_FALSE(haveLog);
    ASSERT_EQ(console.rfind(noStore, 0), 0u) << console;
    EXPECT_EQ(withoutFirstLine(console.substr(noStore.size())), noFileWithoutStore);
    EXPECT_FALSE(std::filesystem::exists(directory / ".crashReporter"));
}

TEST_F(RegistrationFileTest, AFileThatCannotBeMadeIsReported) {
    std::filesystem::create_directories(sessionDirectory);
    writeFile(store, "a file in the store's place");
    create();
    EXPECT_EQ(state, exitedWith(1));
    EXPECT_EQ(console, "");
    EXPECT_EQ(log, "[Crash Reporter] Error: Could not create process registration file: " +
                       registrations + " in crash store.\n");
}

TEST_F(RegistrationFileTest, WhereTheLogCannotBeOpenedTheConsoleSaysWhatWasDone) {
    logCannotBeOpened = true;
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_FALSE(haveLog);
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_EQ(withoutFirstLine(console), created);
}

TEST_F(RegistrationFileTest, StandardOutputThatIsRedirectedAlreadyStaysWhereItIs) {
    redirectedBefore = true;
    writeRegistrations(std::string("testhost:") + kDeadPid + "\n");
    create();
    EXPECT_EQ(state, exitedWith(0));
    EXPECT_FALSE(haveLog);
    EXPECT_EQ(console, std::string("[Crash Reporter] New process registration successfull for "
                                   "<hostname>:<pid> = testhost:") +
                           kDeadPid + "\n[Crash Reporter] Deleted crash store.\n" + created);
}

}  // namespace

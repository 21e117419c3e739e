// The crash reporter program by itself: what it inherits, where it writes, when it leaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "integration/CrashSession.h"

namespace {

namespace fs = std::filesystem;
using integration_test::CrashSession;
using integration_test::kDeadPid;
using integration_test::standInOrder;
using integration_test::timesIn;
using namespace test_support;

/// As the kernel shows a set of signals: bit n - 1 stands for signal n.
unsigned long long maskOf(std::initializer_list<int> signals) {
    unsigned long long mask = 0;
    for (const int number : signals) mask |= 1ULL << (number - 1);
    return mask;
}

unsigned long long signalSet(pid_t pid, const std::string& name) {
    std::istringstream status(readFile("/proc/" + std::to_string(pid) + "/status"));
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0)
            return std::stoull(line.substr(name.size() + 1), nullptr, 16);
    ADD_FAILURE() << "no " << name;
    return 0;
}

/// Descriptor and what it leads to.
std::map<int, std::string> descriptors(pid_t pid) {
    std::map<int, std::string> found;
    std::error_code gone;
    for (const auto& entry : fs::directory_iterator("/proc/" + std::to_string(pid) + "/fd", gone))
        found[std::stoi(entry.path().filename())] = fs::read_symlink(entry.path(), gone).string();
    return found;
}

/// What descriptors above standard error lead to. Kernels name a process's one differently.
std::multiset<std::string> furtherOnes(const std::map<int, std::string>& descriptors) {
    std::multiset<std::string> all;
    for (auto it = descriptors.upper_bound(STDERR_FILENO); it != descriptors.end(); ++it)
        all.insert(it->second.find("pidfd") != std::string::npos ? "a process" : it->second);
    return all;
}

class CrashReporterProgramTest : public testing::Test {
  protected:
    CrashSession session;
};

/// With a registered process that runs: the crash reporter stays.
class ServingCrashReporterTest : public CrashReporterProgramTest {
  protected:
    ServingCrashReporterTest() {
        session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    }

    /// Starts it and waits until it has announced the host, thus until its first pass is over.
    ChildProcess serve(const std::function<void()>& preparation = nullptr) {
        ChildProcess reporter = session.startReporter(preparation);
        EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
        return reporter;
    }
    /// It has null, its log, and what it waits for and locks, and nothing else.
    void expectOwnDescriptorsOnly(const ChildProcess& reporter) const {
        const std::string log = session.logPath(reporter.pid());
        const std::multiset<std::string> own = {"anon_inode:[eventfd]", "anon_inode:inotify",
                                                "a process",
                                                session.sessionDirectory + "/reporter.lock"};
        // While it works it has files of its own open.
        EXPECT_TRUE(session.eventually([&] {
            std::map<int, std::string> all = descriptors(reporter.pid());
            return all[0] == "/dev/null" && all[1] == log && all[2] == log &&
                   furtherOnes(all) == own;
        })) << testing::PrintToString(descriptors(reporter.pid()));
    }
    void expectLeaves(ChildProcess& reporter) {
        host.signal(SIGKILL);
        host.wait(session.timeLeft());
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    }

    ChildProcess host = ChildProcess::exec({"sleep", "60"});
};

// --- How it is started --------------------------------------------------------------------------

TEST_F(CrashReporterProgramTest, AHostStartsItWithAnEmptyArgumentVector) {
    ChildProcess host = session.startHost({"-wait", "2"});
    const pid_t reporter = session.reporterPid();
    ASSERT_TRUE(isRunning(reporter));
    const std::string proc = "/proc/" + std::to_string(reporter);
    EXPECT_EQ(fs::read_symlink(proc + "/exe"), session.program("crash_reporter"));
    // Newer kernels put one empty argument into the place of the missing name.
    const std::string arguments = readFile(proc + "/cmdline");
    EXPECT_TRUE(arguments.empty() || arguments == std::string(1, '\0')) << arguments;
    EXPECT_EQ(host.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.waitForReporter(reporter), exitedWith(0));
}

// --- What it leaves behind ----------------------------------------------------------------------

TEST_F(ServingCrashReporterTest, HasNoDescriptorsButItsOwn) {
    const std::string hostsFile = session.directory / "hosts-file";
    ChildProcess reporter = serve([&] {
        const int file = open(hostsFile.c_str(), O_RDWR | O_CREAT, 0600);
        int pipe[2];
        if (::pipe(pipe) != 0) _exit(126);
        dup2(file, STDIN_FILENO);
        for (const int fd : {7, 200, 1000}) dup2(file, fd);
    });
    expectOwnDescriptorsOnly(reporter);
    expectLeaves(reporter);
    EXPECT_EQ(reporter.standardOutput(), "");
    EXPECT_EQ(reporter.standardError(), "");
}

TEST_F(ServingCrashReporterTest, ClosedStandardDescriptorsAreNotTakenByOtherFiles) {
    ChildProcess reporter = serve([] {
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(fd);
    });
    expectOwnDescriptorsOnly(reporter);
    expectLeaves(reporter);
}

TEST_F(ServingCrashReporterTest, LeadsASessionOfItsOwnAndIgnoresInterruptsOnly) {
    ChildProcess reporter = serve([] {
        for (const int number : {SIGCHLD, SIGHUP, SIGTERM, SIGPIPE}) signal(number, SIG_IGN);
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, nullptr);
    });
    EXPECT_EQ(getsid(reporter.pid()), reporter.pid());
    EXPECT_EQ(signalSet(reporter.pid(), "SigIgn"), maskOf({SIGINT}));
    EXPECT_EQ(signalSet(reporter.pid(), "SigBlk"), 0U);
    EXPECT_EQ(signalSet(reporter.pid(), "SigCgt"),
              maskOf({SIGSEGV, SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGQUIT, SIGTERM}));
    expectLeaves(reporter);
}

TEST_F(ServingCrashReporterTest, AHangUpDoesNotEndOneThatCannotLeadASession) {
    ChildProcess reporter = serve([] { setpgid(0, 0); });
    EXPECT_NE(getsid(reporter.pid()), reporter.pid());
    reporter.signal(SIGHUP);
    EXPECT_TRUE(session.goesOn(reporter.pid()));
    expectLeaves(reporter);
}

TEST_F(ServingCrashReporterTest, AnInterruptHasNoEffect) {
    ChildProcess reporter = serve();
    reporter.signal(SIGINT);
    EXPECT_TRUE(session.goesOn(reporter.pid()));
    expectLeaves(reporter);
}

TEST_F(ServingCrashReporterTest, LibraryPathsAndPreloadsOfTheHostAreNotPassedOn) {
    const std::string seen = session.directory / "seen";
    session.replaceProgram("velcurl", "#!/bin/sh\nenv >'" + seen + "'\necho 'HTTP/1.1 200 OK'\n");
    writeFile(session.caFile, "a certificate");
    session.environment["LD_LIBRARY_PATH"] = session.directory.path();
    session.environment["LD_PRELOAD"] = INSTALLATION_ROOT "/lib/lnx64.o/libzeb_geometry.so";
#ifdef __SANITIZE_ADDRESS__
    const char* options = std::getenv("ASAN_OPTIONS");
    session.environment["ASAN_OPTIONS"] =
        std::string(options == nullptr ? "" : options) + ":verify_asan_link_order=0";
#endif
    ChildProcess reporter = serve();
    EXPECT_TRUE(
        readFile("/proc/" + std::to_string(reporter.pid()) + "/maps").find("libzeb_geometry.so") !=
        std::string::npos)
        << "nothing was preloaded";
    const std::string report = session.addReport("CrashReport_a.json", "{}");
    EXPECT_TRUE(session.eventually([&] { return !fs::exists(report); }));
    expectLeaves(reporter);

    const std::string environment = "\n" + readFile(seen);
    EXPECT_EQ(timesIn(environment, "\nZEB_SESSION_INFO=" + session.work + ":1\n"), 1U);
    EXPECT_EQ(timesIn(environment, "\nLD_"), 0U) << environment;
}

TEST_F(ServingCrashReporterTest, WhatItsProgramsMakeIsForItsOwnerOnly) {
    const std::string seen = session.directory / "seen";
    session.replaceProgram("velcurl", "#!/bin/sh\numask >'" + seen + "'\n");
    writeFile(session.caFile, "a certificate");
    ChildProcess reporter = serve([] { umask(0); });
    const std::string report = session.addReport("CrashReport_a.json", "{}");
    EXPECT_TRUE(session.eventually([&] { return !fs::exists(report); }));
    expectLeaves(reporter);
    EXPECT_EQ(readFile(seen), "0077\n");
}

TEST_F(CrashReporterProgramTest, WhatItMakesIsForItsOwnerOnly) {
    ChildProcess reporter = session.startReporter([] { umask(0); });
    ASSERT_TRUE(session.eventually([&] { return fs::exists(session.registrations); }));
    for (const std::string& path :
         {session.work + "/.crashReporter", session.sessionDirectory, session.store,
          session.registrations, session.logPath(reporter.pid())})
        EXPECT_EQ(fs::status(path).permissions() & (fs::perms::group_all | fs::perms::others_all),
                  fs::perms::none)
            << path;
}

// --- Where it writes ----------------------------------------------------------------------------

TEST_F(CrashReporterProgramTest, AMissingLaunchDirectoryIsMade) {
    const std::string launch = session.directory / "not/yet";
    session.environment["ZEB_SESSION_INFO"] = launch + ":1";
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.eventually(
        [&] { return fs::exists(launch + "/.crashReporter/1/crashStore/processRegFile.txt"); }));
    EXPECT_TRUE(fs::exists(launch + "/.crashReporter/1/crashReporter" +
                           std::to_string(reporter.pid()) + ".log"));
}

TEST_F(CrashReporterProgramTest, AFileInThePlaceOfASessionDirectoryIsNamedAndEndsIt) {
    for (const char* place : {"/.crashReporter", "/.crashReporter/1"}) {
        writeFile(session.work + place, "in the way");
        ChildProcess reporter = session.startReporter();
        EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(1)) << place;
        EXPECT_EQ(reporter.standardError(), "crash_reporter: cannot write to session directory " +
                                                session.sessionDirectory + "\n");
        EXPECT_EQ(reporter.standardOutput(), "");
        EXPECT_EQ(readFile(session.work + place), "in the way");
        fs::remove(session.work + place);
        fs::create_directories(session.work + "/.crashReporter");
    }
}

TEST_F(CrashReporterProgramTest, AFileInThePlaceOfTheCrashStoreIsReportedInTheLog) {
    fs::create_directories(session.sessionDirectory);
    writeFile(session.store, "in the way");
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_TRUE(
        standInOrder(session.log(reporter.pid()),
                     {"[Crash Reporter] Error: Could not create process registration file: " +
                          session.registrations + " in crash store.\n",
                      "leaving.\n"}));
}

TEST_F(ServingCrashReporterTest, KeepsTheRegistrationFileOfALiveProcessAndWritesItsOwnLog) {
    writeFile(session.sessionDirectory + "/crashReporter1.log", "of an earlier one\n");
    const std::string kept = session.store + "/hs_err_pid1.log";
    writeFile(kept, "of an earlier crash\n");
    ChildProcess reporter = serve();
    expectLeaves(reporter);
    EXPECT_EQ(readFile(session.registrations), CrashSession::recordOf(host.pid()) + "\n");
    EXPECT_EQ(readFile(kept), "of an earlier crash\n");
    EXPECT_EQ(readFile(session.sessionDirectory + "/crashReporter1.log"), "of an earlier one\n");
    const std::string log = session.log(reporter.pid());
    EXPECT_TRUE(standInOrder(
        log, {"[Crash Reporter] Started with processId = " + std::to_string(reporter.pid()) +
                  ", at dir = '" + session.work + "', at time = ",
              "[Crash Reporter] New process registration successfull for <hostname>:<pid> = " +
                  CrashSession::recordOf(host.pid()) + "\n",
              "[Crash Reporter] No registered process runs and no report waits, leaving.\n"}));
    EXPECT_EQ(timesIn(log, "Created Process registration file"), 0U);
    EXPECT_EQ(timesIn(log, "Deleted the crash store"), 0U);
    EXPECT_EQ(reporter.standardOutput(), "");
}

// --- When it leaves -----------------------------------------------------------------------------

TEST_F(CrashReporterProgramTest, LeavesAfterFifteenSecondsWhenNobodyRegisters) {
    const auto start = std::chrono::steady_clock::now();
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(readFile(session.registrations), "");
    EXPECT_TRUE(standInOrder(
        session.log(reporter.pid()),
        {"[Crash Reporter] Created Process registration file in crash store: " +
         session.registrations +
         "\n"
         "[Crash Reporter] No registered process runs and no report waits, leaving.\n"}));
}

TEST_F(CrashReporterProgramTest, StartsAfreshWhenAllOfAnEarlierSessionAreDead) {
    session.writeRegistrations(CrashSession::recordOf(kDeadPid) + "\n");
    writeFile(session.store + "/hs_err_pid1.log", "of an earlier crash\n");
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(
        reporter.pid(), "[Crash Reporter] Created Process registration file in crash store: " +
                            session.registrations +
                            "\n"
                            "[Crash Reporter] Deleted the crash store of an earlier session.\n"));
    EXPECT_EQ(test_support::namesIn(session.store), std::vector<std::string>{"processRegFile.txt"});
    EXPECT_EQ(readFile(session.registrations), "");
}

TEST_F(CrashReporterProgramTest, ReportsOfADeadSessionAreSentBeforeItLeaves) {
    session.writeRegistrations(CrashSession::recordOf(kDeadPid) + "\n");
    session.addReport("CrashReport_a.json", "{}");
    session.replaceProgram("velcurl", "#!/bin/sh\necho 'HTTP/1.1 200 OK'\n");
    writeFile(session.caFile, "a certificate");
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    EXPECT_EQ(session.filed(), std::vector<std::string>{"CrashReport_a.json.send_success"});
}

// --- Hosts that could not report themselves -----------------------------------------------------

constexpr char kTrace[] =
    "#\n# An unexpected error has occurred (6)\n#\nStack:\n"
    "/opt/app/lib/libzeb_solver.so(_ZN6solver4stepEv+0x1a)[0x7f3a2c1d4e5f]\n\n";

class MissingReportTest : public CrashReporterProgramTest {
  protected:
    MissingReportTest() {
        session.replaceProgram("velcurl", "#!/bin/sh\necho 'HTTP/1.1 200 OK'\n");
        writeFile(session.caFile, "a certificate");
    }
    void addTrace(pid_t pid) const {
        writeFile(session.store + "/hs_mangled_err_pid" + std::to_string(pid) + ".log", kTrace);
    }
    void expectOneReportOf(pid_t pid) const {
        const std::vector<std::string> filed = session.filed();
        ASSERT_EQ(filed.size(), 1U);
        EXPECT_EQ(filed[0].rfind("CrashReport_" + std::to_string(pid) + "_", 0), 0U) << filed[0];
        EXPECT_NE(filed[0].find(".json.send_success"), std::string::npos) << filed[0];
        EXPECT_NE(
            readFile(session.backup + "/" + filed[0]).find("\"functionName\": \"solver::step()"),
            std::string::npos);
    }
};

TEST_F(MissingReportTest, OfADeadSessionIsWrittenAndSentBeforeItLeaves) {
    session.writeRegistrations(CrashSession::recordOf(kDeadPid) + "\n");
    addTrace(kDeadPid);
    ChildProcess reporter = session.startReporter();
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    expectOneReportOf(kDeadPid);
    EXPECT_EQ(timesIn(session.log(reporter.pid()), "Wrote crash report in place of ended process"),
              1U);
}

TEST_F(MissingReportTest, OfTheLastHostIsWrittenAndSentBeforeItLeaves) {
    ChildProcess host = ChildProcess::exec({"sleep", "60"});
    session.writeRegistrations(CrashSession::recordOf(host.pid()) + "\n");
    addTrace(host.pid());
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    EXPECT_EQ(session.filed(), std::vector<std::string>{}) << "it may still write its own";
    host.signal(SIGKILL);
    host.wait(session.timeLeft());
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
    expectOneReportOf(host.pid());
}

TEST_F(ServingCrashReporterTest, ClearsAwayWhatAKilledWriterHasLeft) {
    const std::string left = session.store + "/.hcrpt-" + std::to_string(kDeadPid) + "-abcdef";
    writeFile(left, "half");
    ChildProcess reporter = serve();
    EXPECT_FALSE(fs::exists(left));
    expectLeaves(reporter);
}

}  // namespace

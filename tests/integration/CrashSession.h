/// @file
/// A session of its own with real hosts, a real crash reporter and real crashes.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/ReportServer.h"
#include "support/Session.h"

namespace integration_test {

/// A process id that no process can have: beyond the largest that the kernel gives.
constexpr pid_t kDeadPid = 4194305;

/// Session 1, launched in an empty directory, with the programs of the build tree and an upload
/// tool that reaches nobody until sendTo().
///
/// The test process becomes the parent of what its children leave behind, so that it can wait for
/// the crash reporter that a host has started. At the end of the scope whatever still runs with
/// this session's environment is killed and reaped. Make the session before the servers and
/// processes of a test, so that it outlives them.
class CrashSession : public test_support::Session {
  public:
    using Environment = std::map<std::string, std::string>;

    CrashSession();
    ~CrashSession();

    // --- Before the start ---
    Environment environment;  ///< of all processes that are started from here
    void trust(const std::string& caFile);
    /// Leads uploads to the server and trusts its certificate.
    void sendTo(const test_support::ReportServer& server);
    /// Takes a program away from the installation, which becomes one of the session's own.
    void removeProgram(const std::string& name);
    /// Puts a script in the place of a program of the installation.
    void replaceProgram(const std::string& name, const std::string& script);
    /// Path of a program of the installation, existing or not.
    std::string program(const std::string& name) const;
    /// Puts a whole report into the crash store, like a crashing host. An empty one would be
    /// removed before it is filled. @return its path.
    std::string addReport(const std::string& name, const std::string& content) const {
        return moveIn(name, content);
    }

    // --- Processes ---
    test_support::ChildProcess startHost(const std::vector<std::string>& arguments);
    /// Starts the crash reporter as a host does, with an empty argument vector.
    /// @param preparation runs in the new process before the program does.
    test_support::ChildProcess startReporter(const std::function<void()>& preparation = nullptr);
    /// Process id of the one crash reporter, once its log is there; fails the test when there is
    /// none or another.
    pid_t reporterPid();
    /// Waits for the end of a crash reporter that a host, ended by now, has started.
    test_support::ExitState waitForReporter(pid_t pid);
    /// Processes with this session's environment that have not ended.
    std::vector<pid_t> processes() const;

    // --- What is there ---
    /// "<host>:<pid>", as a process of this machine registers.
    static std::string recordOf(pid_t pid);
    std::string logPath(pid_t reporter) const { return reporterLog(std::to_string(reporter)); }
    std::string log(pid_t reporter) const;
    std::vector<std::string> logNames() const;
    /// Names in the backup store; none when there is no such store.
    std::vector<std::string> filed() const;

    // --- Waits, which share one deadline ---
    std::chrono::milliseconds timeLeft() const;
    bool eventually(const std::function<bool()>& condition) const;
    bool isLogged(pid_t reporter, const std::string& text) const;
    bool isRegistered(pid_t host) const;
    /// Returns true when the crash reporter makes a pass, finds that it is not over, and makes
    /// another. It is given empty reports to see that by, which it mentions in its log.
    bool goesOn(pid_t reporter);

    const std::string caFile = data + "/telemon/cacert.pem";

  private:
    test_support::ChildProcess start(const std::string& path,
                                     const std::vector<std::string>& arguments,
                                     const std::function<void()>& preparation) const;
    void useOwnInstallation();
    void killAll() const;

    const std::chrono::steady_clock::time_point m_deadline;
    std::string m_root;
};

/// Returns true when the parts stand in the text, one after the other.
::testing::AssertionResult standInOrder(const std::string& text,
                                        const std::vector<std::string>& parts);
using test_support::timesIn;

}  // namespace integration_test

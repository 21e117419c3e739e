/// @file
/// A session with the real crash reporter, a registered process and an upload tool of the test's
/// own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "integration/CrashSession.h"
#include "support/ChildProcess.h"

namespace crash_reporter_test {

using integration_test::CrashSession;
using integration_test::kDeadPid;
using integration_test::timesIn;
using test_support::ChildProcess;
using test_support::exitedWith;

constexpr char kLeaving[] =
    "[Crash Reporter] No registered process runs and no report waits, leaving.\n";
constexpr char kServedByAnother[] =
    "[Crash Reporter] Another crash reporter serves this session, leaving.\n";

/// The tool notes the name of each report and answers with success.
class ServedSession {
  public:
    ServedSession();

    /// From now on the tool waits before it answers, until release().
    void holdUploads() const;
    void release() const;
    /// Waits until the tool has been started so often.
    bool areUploading(std::size_t count) const;

    /// Names of reports that the tool was started with, and how often.
    std::map<std::string, int> started() const;
    /// Those that it has answered.
    std::map<std::string, int> delivered() const;

    /// Puts a raw trace into the crash store, as a crashing process does. @return path of its log.
    std::string addRawTrace(int pid);
    bool isReadable(const std::string& log) const;
    /// Lets a new registered process run.
    ChildProcess registerHost();
    /// Ends a registered process; nothing is left of it.
    void end(ChildProcess& host) const;
    bool isStoreEmptyOfReports() const;
    /// Puts a file in the place of the crash store, so that the store cannot be made anew.
    bool obstructStore() const;
    /// Running crash reporters of the session; the process in which one makes a pass counts, too.
    std::size_t reporters() const;

    CrashSession session;

  private:
    std::map<std::string, int> lines(const std::string& name) const;
};

/// A session with one registered process.
class ServedHost : public ServedSession {
  public:
    /// Starts the crash reporter and waits until it knows the process.
    ChildProcess serve();
    /// Ends the process and expects the crash reporter to leave.
    void expectLeaves(ChildProcess& reporter);

    ChildProcess host = registerHost();
};

/// How often a process has gone to sleep so far.
long sleepsOf(pid_t pid);
/// Memory of a process that is resident, in KiB.
long residentKiB(pid_t pid);
/// Returns true when the process runs the crash reporter's program.
bool isCrashReporter(pid_t pid);

}  // namespace crash_reporter_test

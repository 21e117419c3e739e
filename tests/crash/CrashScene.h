/// @file
/// One death of crash_scenarios, with the crash reporter serving it.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Session.h"

namespace crash_test {

/// What a death has left. Times are milliseconds from the failure.
struct Outcome {
    pid_t pid = -1;
    test_support::ExitState end;
    long toCopy = -1;  ///< until the raw trace lay in the crash store; -1: never
    long toEnd = -1;
    std::string rawTrace;  ///< in the working directory; empty when there is none
    std::string copy;      ///< of the raw trace, in the crash store
    std::string log;       ///< the readable one, in the crash store
    std::string report;
    std::string reportName;  ///< in the store where it was found
    std::string output;
    std::string allocatorCalls;  ///< see programs/AllocatorWatch.h
};

/// A session of its own: an empty working directory, a crash store, a crash reporter that stays as
/// long as the scene does and cannot upload.
class CrashScene : public test_support::Session {
  public:
    enum class Reporter { serves, comesLater, none };

    CrashScene();
    ~CrashScene();

    std::map<std::string, std::string> environment;
    Reporter reporter = Reporter::serves;
    /// Runs in the process that is to die, before its program does.
    std::function<void()> preparation;
    /// Runs in the test when the process is about to fail.
    std::function<void(test_support::ChildProcess&)> atFailure;
    std::chrono::seconds deadline{40};
    /// True when the crash reporter is to write the report: run() waits for it.
    bool awaitReport = false;

    /// Lets it die and looks at what is left.
    Outcome run(const std::string& scenario);

    /// For pauses and their ends.
    void signalReporter(int number) const;
    /// Kills the crash reporter and starts another.
    void restartReporter();
    /// Waits until the crash reporter has looked at all that is in the store now.
    void awaitPass() const;
    /// Names of the reports in the crash store and the backup store.
    std::vector<std::string> reportNames() const;
    std::string tracePath(pid_t pid) const { return rawTrace(std::to_string(pid)); }

  private:
    void startReporter();
    void findReport(Outcome& outcome) const;
    void writeMatrixLine(const std::string& scenario, const Outcome& outcome) const;

    const std::string m_root = directory / "root";
    std::optional<test_support::ChildProcess> m_reporter;
};

}  // namespace crash_test

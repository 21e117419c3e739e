/// @file
/// The system calls of a crashing process, one of which can be made to fail.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace crash_test {

/// A call that was made after the fatal signal.
struct Call {
    long number = -1;
    std::array<std::uint64_t, 6> arguments = {};
    std::string target;  ///< path, or what the descriptor was opened for; empty where there is none
    bool inChild = false;
    long result = 0;
};

/// What becomes of one call.
struct Fault {
    std::size_t call = 0;  ///< its place among the calls
    /// The call gives this error, close() after having closed. None: it moves half of the bytes
    /// that it would have moved.
    std::optional<int> error;
    long bytes = 0;  ///< that the call moved when nothing failed
};

/// Runs a program up to its fatal signal, then from call to call. Follows the processes that it
/// makes until they start another program. Sleeps of the crashing process take no time.
class SystemCallTrace {
  public:
    struct Program {
        std::string path;
        std::string argument;
        std::string directory;
        std::string output;  ///< file for standard output
        std::map<std::string, std::string> environment;
        int fatalSignal = 0;
    };

    /// Called when the fatal signal is about to be delivered.
    std::function<void(pid_t)> atFailure;
    /// Called after each call of the crashing process.
    std::function<void(const Call&)> afterCall;
    std::optional<Fault> fault;
    std::chrono::seconds deadline{60};

    /// @return how the program ended; default-constructed when it had to be ended from outside.
    test_support::ExitState run(const Program& program);

    const std::vector<Call>& calls() const { return m_calls; }

    /// Returns true when this process may trace its children, and the system tells what they call.
    static bool isAllowed();

  private:
    struct Tracee {
        std::map<int, std::string> descriptors;
        std::optional<std::size_t> call;  ///< that it is in
        std::optional<long> answer;       ///< in place of the call's own result
        bool seen = false;
    };

    void onStop(pid_t pid, int status);
    void onCallEntry(pid_t pid, Tracee& tracee, const Call& call);
    void onCallExit(pid_t pid, Tracee& tracee, long result);
    void startFault(pid_t pid, Tracee& tracee, const Call& call);
    void resume(pid_t pid, int signal) const;
    std::string targetOf(pid_t pid, const Tracee& tracee, const Call& call) const;

    pid_t m_main = -1;
    int m_fatalSignal = 0;
    bool m_dies = false;
    std::map<pid_t, Tracee> m_tracees;
    std::vector<Call> m_calls;
};

}  // namespace crash_test

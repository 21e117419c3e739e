/// @file
/// Real child processes of a test: run, watched with deadlines, ended by their id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace test_support {

/// How a process ended.
struct ExitState {
    bool exited = false;     ///< by exit; status holds its code
    bool signalled = false;  ///< by a signal; status holds its number
    int status = -1;

    bool operator==(const ExitState& other) const {
        return exited == other.exited && signalled == other.signalled && status == other.status;
    }
};
std::ostream& operator<<(std::ostream& out, const ExitState& state);
inline ExitState exitedWith(int code) {
    return {true, false, code};
}
inline ExitState killedBy(int signal) {
    return {false, true, signal};
}

/// A child process. One that still runs at the end of the scope is killed and reaped.
class ChildProcess {
  public:
    struct Options {
        std::string workingDirectory;            ///< empty: the parent's
        std::map<std::string, std::string> set;  ///< environment on top of the parent's
        std::vector<std::string> unset;          ///< variables taken away
        bool closeStdout = false;
    };

    /// Starts a program; standard output and error are caught apart from each other.
    static ChildProcess exec(const std::vector<std::string>& argv, const Options& options);
    static ChildProcess exec(const std::vector<std::string>& argv) { return exec(argv, Options()); }
    /// Runs a function in a forked child; its result is the exit code. What it leaves in stdio's
    /// buffer is flushed.
    static ChildProcess fork(const std::function<int()>& body);

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    pid_t pid() const { return m_pid; }
    /// Waits for its end; a test failure and SIGKILL when the deadline passes.
    ExitState wait(std::chrono::milliseconds deadline = std::chrono::seconds(60));
    bool hasEnded();
    void signal(int number) const;
    /// What it (and its children) have written so far.
    std::string standardOutput() const;
    std::string standardError() const;

  private:
    ChildProcess() = default;
    bool reap(bool block);
    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_status = 0;
    int m_stdout = -1;
    int m_stderr = -1;
};

/// Looks every few milliseconds whether the condition holds. @return false after the deadline.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds deadline = std::chrono::seconds(20));

/// Returns true when a process of that id runs (a zombie does not).
bool isRunning(pid_t pid);

}  // namespace test_support

#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "base/ProcessEnd.h"

namespace test_support {
namespace {

std::string contentOf(int fd) {
    struct stat status = {};
    fstat(fd, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
}

// Appending, so that the writes of several processes never overwrite each other.
int outputFile(const char* name) {
    const int fd = memfd_create(name, MFD_CLOEXEC);
    if (fd >= 0) fcntl(fd, F_SETFL, O_APPEND);
    return fd;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ExitState& state) {
    if (state.exited) return out << "exited with " << state.status;
    if (state.signalled) return out << "killed by signal " << state.status;
    return out << "did not end";
}

ChildProcess ChildProcess::exec(const std::vector<std::string>& argv, const Options& options) {
    ChildProcess child;
    child.m_stdout = outputFile("child-stdout");
    child.m_stderr = outputFile("child-stderr");
    std::vector<char*> arguments;
    for (const std::string& argument : argv)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    std::fflush(nullptr);
    child.m_pid = ::fork();
    if (child.m_pid == 0) {
        dup2(child.m_stdout, STDOUT_FILENO);
        dup2(child.m_stderr, STDERR_FILENO);
        if (options.closeStdout) close(STDOUT_FILENO);
        for (const auto& [name, value] : options.set) setenv(name.c_str(), value.c_str(), 1);
        for (const std::string& name : options.unset) unsetenv(name.c_str());
        if (!options.workingDirectory.empty() && chdir(options.workingDirectory.c_str()) != 0)
            _exit(126);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    return child;
}

ChildProcess ChildProcess::fork(const std::function<int()>& body) {
    ChildProcess child;
    child.m_stdout = outputFile("child-stdout");
    child.m_stderr = outputFile("child-stderr");
    std::fflush(nullptr);
    child.m_pid = ::fork();
    if (child.m_pid == 0) {
        dup2(child.m_stdout, STDOUT_FILENO);
        dup2(child.m_stderr, STDERR_FILENO);
        const int code = body();
        std::fflush(nullptr);
        hcrpt::endProcess(code);
    }
    return child;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : m_pid(other.m_pid),
      m_reaped(other.m_reaped),
      m_status(other.m_status),
      m_stdout(other.m_stdout),
      m_stderr(other.m_stderr) {
    other.m_pid = other.m_stdout = other.m_stderr = -1;
}

ChildProcess::~ChildProcess() {
    if (m_pid > 0 && !m_reaped) {
        kill(m_pid, SIGKILL);
        reap(true);
    }
    if (m_stdout >= 0) close(m_stdout);
    if (m_stderr >= 0) close(m_stderr);
}

bool ChildProcess::reap(bool block) {
    if (m_reaped) return true;
    pid_t got = -1;
    do got = waitpid(m_pid, &m_status, block ? 0 : WNOHANG);
    while (got < 0 && errno == EINTR);
    m_reaped = got == m_pid;
    return m_reaped;
}

bool ChildProcess::hasEnded() {
    return reap(false);
}

ExitState ChildProcess::wait(std::chrono::milliseconds deadline) {
    if (!eventually([this] { return reap(false); }, deadline)) {
        ADD_FAILURE() << "process " << m_pid << " did not end in time";
        kill(m_pid, SIGKILL);
        reap(true);
        return {};
    }
    if (WIFEXITED(m_status)) return exitedWith(WEXITSTATUS(m_status));
    return killedBy(WTERMSIG(m_status));
}

void ChildProcess::signal(int number) const {
    kill(m_pid, number);
}
std::string ChildProcess::standardOutput() const {
    return contentOf(m_stdout);
}
std::string ChildProcess::standardError() const {
    return contentOf(m_stderr);
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

bool isRunning(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    if (!std::getline(in, text)) return false;
    const auto end = text.rfind(')');  // the name before it may hold anything
    return end != std::string::npos && end + 2 < text.size() && text[end + 2] != 'Z' &&
           text[end + 2] != 'X';
}

}  // namespace test_support

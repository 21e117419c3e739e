#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

#include "base/BoundedChild.h"
#include "base/FatalSignals.h"
#include "base/FileDescriptor.h"
#include "base/ProcessEnd.h"
#include "base/ReadAll.h"
#include "base/WriteAll.h"

namespace hcrpt {
namespace {

using Clock = std::chrono::steady_clock;

// --- The child's side ---------------------------------------------------------------------------

/// Gives signals their usual effect again: no crash handler runs, no core file is written.
void dieQuietly() {
    for (const int number : kFatalSignals) signal(number, SIG_DFL);
    for (const int number : {SIGTERM, SIGPROF, SIGPIPE}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
}

void limitProcessorTime(std::chrono::microseconds limit) {
    constexpr long kMicroseconds = 1000000;
    itimerval time = {};
    time.it_value.tv_sec = limit.count() / kMicroseconds;
    time.it_value.tv_usec = limit.count() % kMicroseconds;
    setitimer(ITIMER_PROF, &time, nullptr);
}

std::optional<std::string> answerOf(const std::function<std::optional<std::string>()>& task) {
    try {
        return task();
    } catch (...) {
        return std::nullopt;
    }
}

// The length comes first, so that the answer is complete without the end of the pipe: what the task
// has started may keep that open. The child's exit status is unavailable where the host ignores
// SIGCHLD.
void send(int fd, const std::string& answer) {
    const std::size_t length = answer.size();
    if (writeAll(fd, reinterpret_cast<const char*>(&length), sizeof length))
        writeAll(fd, answer.data(), length);
}

[[noreturn]] void runAsChild(const std::function<std::optional<std::string>()>& task,
                             const ForkedChildBounds& bounds, int result) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dieQuietly();
    limitProcessorTime(bounds.processorTime);
    if (const auto answer = answerOf(task)) send(result, *answer);
    endProcess(0);
}

// --- The parent's side --------------------------------------------------------------------------

/// Reads from the child until its time is over.
class AnswerReader {
  public:
    AnswerReader(int fd, std::chrono::milliseconds limit)
        : m_fd(fd), m_isBounded(limit.count() > 0), m_end(Clock::now() + limit) {}

    ChildAnswer read() {
        std::size_t length = 0;
        ChildAnswer answer;
        answer.end = fill(reinterpret_cast<char*>(&length), sizeof length);
        if (answer.end != ChildEnd::answered) return answer;
        answer.text.resize(length);
        answer.end = fill(answer.text.data(), length);
        if (answer.end != ChildEnd::answered) answer.text.clear();
        return answer;
    }

  private:
    ChildEnd fill(char* data, std::size_t length) const {
        for (std::size_t got = 0; got < length;) {
            if (!waitForMore()) return ChildEnd::timedOut;
            const ssize_t more = readSome(m_fd, data + got, length - got);
            if (more <= 0) return ChildEnd::failed;
            got += static_cast<std::size_t>(more);
        }
        return ChildEnd::answered;
    }

    /// @return false when the time is over.
    bool waitForMore() const {
        pollfd watched = {m_fd, POLLIN, 0};
        do {
            if (m_isBounded && millisecondsLeft() <= 0) return false;
        } while (poll(&watched, 1, m_isBounded ? millisecondsLeft() : -1) <= 0);
        return true;
    }
    int millisecondsLeft() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - Clock::now());
        return left.count() > 0 ? static_cast<int>(left.count()) : 0;
    }

    int m_fd;
    bool m_isBounded;
    Clock::time_point m_end;
};

/// Waits for the end of a child, if there is one, when it leaves the scope.
class Reaper {
  public:
    explicit Reaper(pid_t child) : m_child(child) {}
    ~Reaper() {
        while (m_child > 0 && waitpid(m_child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }
    Reaper(const Reaper&) = delete;
    Reaper& operator=(const Reaper&) = delete;

  private:
    pid_t m_child;
};

}  // namespace

ChildAnswer runInForkedChild(const std::function<std::optional<std::string>()>& task,
                             const ForkedChildBounds& bounds) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return {};
    const pid_t child = fork();
    if (child == 0) runAsChild(task, bounds, ends[1]);
    close(ends[1]);
    // Closed before the child is waited for: a child that still writes fails then, and ends.
    const Reaper reaper(child);
    const FileDescriptor readEnd(ends[0]);
    if (child < 0) return {};
    setpgid(child, child);  // here as well: a child that is killed early may not have run yet
    ChildAnswer answer = AnswerReader(readEnd.get(), bounds.wallClock).read();
    if (answer.end == ChildEnd::timedOut) kill(-child, SIGKILL);
    return answer;
}

}  // namespace hcrpt

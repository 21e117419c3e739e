#include "velcurl/CurlRun.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "base/FileDescriptor.h"
#include "base/ProcessEnd.h"

namespace velcurl {
namespace {

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    // execve() is declared for mutable texts but changes none of them.
    for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

struct Pipe {
    hcrpt::FileDescriptor readEnd{-1};
    hcrpt::FileDescriptor writeEnd{-1};

    bool open() {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0) return false;
        readEnd.reset(ends[0]);
        writeEnd.reset(ends[1]);
        return true;
    }
};

/// Opens standard descriptors that the caller has closed. A pipe would otherwise take such a
/// number, and curl would use that pipe as its standard input or output.
void openStandardDescriptors() {
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", O_RDWR);  // open() takes the lowest free number: fd
}

class Run {
  public:
    CurlRun run(const std::string& program, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment) {
        if (prepare() && start(program, pointersTo(arguments), pointersTo(environment))) collect();
        return std::move(m_result);
    }

  private:
    bool prepare() {
        openStandardDescriptors();
        signal(SIGCHLD, SIG_DFL);  // an ignored SIGCHLD would discard curl's status
        sigset_t watched;
        sigemptyset(&watched);
        for (const int number : {SIGCHLD, SIGTERM, SIGINT, SIGHUP, SIGQUIT})
            sigaddset(&watched, number);
        sigprocmask(SIG_BLOCK, &watched, &m_maskBefore);
        m_signals.reset(signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK));
        if (m_signals.isOpen() && m_trace.open() && m_answer.open() && m_failure.open())
            return true;
        m_result.startError = errno;
        return false;
    }

    bool start(const std::string& program, const std::vector<char*>& arguments,
               const std::vector<char*>& environment) {
        const pid_t self = getpid();
        m_curl = fork();
        if (m_curl < 0) {
            m_result.startError = errno;
            return false;
        }
        if (m_curl == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != self) hcrpt::endProcess(1);  // velcurl ended before prctl()
            dup2(m_answer.writeEnd.get(), STDOUT_FILENO);
            dup2(m_trace.writeEnd.get(), STDERR_FILENO);
            sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
            execve(program.c_str(), arguments.data(), environment.data());
            const int error = errno;
            const ssize_t ignored = write(m_failure.writeEnd.get(), &error, sizeof error);
            hcrpt::endProcess(ignored < 0 ? 2 : 1);
        }
        for (Pipe* pipe : {&m_trace, &m_answer, &m_failure}) pipe->writeEnd.close();
        for (const Pipe* pipe : {&m_trace, &m_answer})
            fcntl(pipe->readEnd.get(), F_SETFL, O_NONBLOCK);
        // An exec that succeeds closes this pipe without writing to it.
        int error = 0;
        if (read(m_failure.readEnd.get(), &error, sizeof error) <= 0) return true;
        m_result.startError = error;
        waitpid(m_curl, nullptr, 0);
        return false;
    }

    // Waits for curl's end, not for the end of the pipes: a process that curl has left behind may
    // keep them open.
    void collect() {
        while (!m_hasEnded) {
            std::array<pollfd, 3> events = {{{m_signals.get(), POLLIN, 0},
                                             {m_trace.readEnd.get(), POLLIN, 0},
                                             {m_answer.readEnd.get(), POLLIN, 0}}};
            poll(events.data(), events.size(), -1);
            takeSignals();
            take(m_trace, m_result.trace);
            take(m_answer, m_result.answer);
        }
    }

    void takeSignals() {
        signalfd_siginfo info = {};
        // After waitpid() another process may get curl's id.
        while (!m_hasEnded && read(m_signals.get(), &info, sizeof info) == sizeof info) {
            if (info.ssi_signo != SIGCHLD)
                kill(m_curl, static_cast<int>(info.ssi_signo));
            else if (waitpid(m_curl, &m_result.waitStatus, WNOHANG) == m_curl)
                m_hasEnded = true;
        }
    }

    void take(Pipe& pipe, std::string& text) {
        if (!pipe.readEnd.isOpen()) return;
        char buffer[16 * 1024];
        ssize_t got = 0;
        while (!m_result.tooLong && (got = read(pipe.readEnd.get(), buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<std::size_t>(got));
            if (m_result.trace.size() + m_result.answer.size() <= kOutputLimit) continue;
            m_result.tooLong = true;
            if (!m_hasEnded) kill(m_curl, SIGKILL);
        }
        // poll() ignores a closed descriptor. A descriptor at its end of file would make it return
        // at once.
        if (got == 0 || m_result.tooLong) pipe.readEnd.close();
    }

    CurlRun m_result;
    sigset_t m_maskBefore = {};
    hcrpt::FileDescriptor m_signals{-1};
    Pipe m_trace;
    Pipe m_answer;
    Pipe m_failure;
    pid_t m_curl = -1;
    bool m_hasEnded = false;
};

}  // namespace

CurlRun runCurl(const std::string& program, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment) {
    return Run().run(program, arguments, environment);
}

}  // namespace velcurl

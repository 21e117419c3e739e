#include "Launch.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <vector>

namespace {

const int kNotStarted = -1;
const int kFailed = 0;

std::vector<std::string> argumentsOf(const std::string& cmdLine, bool throughShell) {
    // After "--" the shell runs a line that begins with a minus sign as a command, too.
    if (throughShell) return {"/bin/sh", "-c", "--", cmdLine};
    std::vector<std::string> arguments;
    std::istringstream words(cmdLine);
    for (std::string word; words >> word;) arguments.push_back(word);
    return arguments;
}

// What the child does before it runs the program.
class SpawnPlan {
  public:
    explicit SpawnPlan(const LaunchOptions& options) {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
        if (!options.inheritInput) open(STDIN_FILENO, O_RDONLY);
        if (!options.inheritOutput) {
            open(STDOUT_FILENO, O_WRONLY);
            open(STDERR_FILENO, O_WRONLY);
        }
        // If the command inherited an ignored SIGCHLD, it could not read the status of the commands
        // that it starts itself and would take them for failed.
        sigset_t childEnds;
        sigemptyset(&childEnds);
        sigaddset(&childEnds, SIGCHLD);
        posix_spawnattr_setsigdefault(&m_attributes, &childEnds);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan() {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;

    pid_t start(std::vector<std::string>& arguments, char* const environment[]) const {
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) argv.push_back(argument.data());
        argv.push_back(nullptr);
        pid_t pid = kNotStarted;
        const int error =
            posix_spawnp(&pid, argv[0], &m_actions, &m_attributes, argv.data(), environment);
        return error == 0 ? pid : kNotStarted;
    }

  private:
    void open(int fd, int flags) {
        posix_spawn_file_actions_addopen(&m_actions, fd, "/dev/null", flags, 0);
    }
    posix_spawn_file_actions_t m_actions = {};
    posix_spawnattr_t m_attributes = {};
};

// While SIGCHLD is ignored, the kernel discards the exit status of children, and every launch that
// waits would look failed. This sets the default action during a launch, for the whole process.
class KeptChildStatus {
  public:
    KeptChildStatus() {
        if (sigaction(SIGCHLD, nullptr, &m_before) != 0) return;
        const bool thrownAway =
            m_before.sa_handler == SIG_IGN || (m_before.sa_flags & SA_NOCLDWAIT) != 0;
        if (!thrownAway) return;
        struct sigaction kept = m_before;
        if (kept.sa_handler == SIG_IGN) kept.sa_handler = SIG_DFL;
        kept.sa_flags &= ~SA_NOCLDWAIT;
        m_changed = sigaction(SIGCHLD, &kept, nullptr) == 0;
    }
    ~KeptChildStatus() {
        if (m_changed) sigaction(SIGCHLD, &m_before, nullptr);
    }
    KeptChildStatus(const KeptChildStatus&) = delete;
    KeptChildStatus& operator=(const KeptChildStatus&) = delete;

  private:
    struct sigaction m_before = {};
    bool m_changed = false;
};

int resultAfterEnd(pid_t pid) {
    int status = 0;
    pid_t ended = -1;
    do ended = waitpid(pid, &status, 0);
    while (ended < 0 && errno == EINTR);
    if (ended != pid) return kNotStarted;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? pid : kFailed;
}

}  // namespace

int launchCommandLine(const std::string& cmdLine, const LaunchOptions& options) {
    std::vector<std::string> arguments = argumentsOf(cmdLine, options.throughShell);
    if (arguments.empty()) return kNotStarted;
    char* const emptyEnvironment[] = {nullptr};
    char* const* environment = options.inheritEnvironment ? environ : emptyEnvironment;
    const SpawnPlan plan(options);
    if (!options.wait) return plan.start(arguments, environment);
    const KeptChildStatus keptChildStatus;
    const pid_t pid = plan.start(arguments, environment);
    return pid > 0 ? resultAfterEnd(pid) : kNotStarted;
}

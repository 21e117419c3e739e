#include "metadata/Descendants.h"

#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "HUTFile.h"
#include "base/OpenStream.h"

namespace hcrpt {
namespace {

/// Returns the children of a process, given by its id or "self", that any of its threads has
/// started.
std::vector<pid_t> childrenOf(const std::string& process) {
    std::vector<pid_t> children;
    const HUTFile threads("/proc/" + process + "/task");
    if (!threads.isDir()) return children;
    const std::unique_ptr<HUTFileIter> thread(threads.createFileIter());
    for (; thread->isValid(); thread->next()) {
        std::ifstream list;
        openStream(list, thread->getPath() + "/children", std::ios::in);
        for (pid_t child = 0; list >> child;) children.push_back(child);
    }
    return children;
}

bool writesTo(pid_t process, const struct stat& pipe) {
    const std::string output = "/proc/" + std::to_string(process) + "/fd/1";
    struct stat file = {};
    return stat(output.c_str(), &file) == 0 && file.st_dev == pipe.st_dev &&
           file.st_ino == pipe.st_ino;
}

pid_t childThatWritesTo(int pipe) {
    struct stat end = {};
    if (fstat(pipe, &end) != 0) return -1;
    for (const pid_t child : childrenOf("self"))
        if (writesTo(child, end)) return child;
    return -1;
}

/// Stops each process first: a stopped process starts no further process.
void endWithDescendants(pid_t process) {
    kill(process, SIGSTOP);
    for (const pid_t child : childrenOf(std::to_string(process))) endWithDescendants(child);
    kill(process, SIGKILL);
}

bool hasEnded(pid_t child) {
    siginfo_t end = {};
    const int result = waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOHANG | WNOWAIT);
    return result == 0 ? end.si_pid == child : errno == ECHILD;
}

}  // namespace

bool endWriterOf(int pipe) {
    const pid_t child = childThatWritesTo(pipe);
    if (child < 0) return false;
    endWithDescendants(child);
    constexpr int kPause = 10;  // milliseconds
    for (int waited = 0; waited < 1000 && !hasEnded(child); waited += kPause)
        poll(nullptr, 0, kPause);
    return hasEnded(child);
}

}  // namespace hcrpt

#include "recovery/BoundedChild.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>

#include "base/ProcessEnd.h"
#include "utils/Message.h"
#include "utils/QuietDeath.h"

namespace hcrpt {
namespace {

using Clock = std::chrono::steady_clock;

/// The child sends it when the task has succeeded: its exit status is not to be had where SIGCHLD
/// is ignored.
constexpr char kSucceeded = 's';

bool runs(const std::function<bool()>& task) {
    try {
        return task();
    } catch (...) {
        return false;
    }
}

[[noreturn]] void runAsChild(const std::function<bool()>& task, int result) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dieQuietly();
    if (runs(task)) {
        while (write(result, &kSucceeded, 1) < 0 && errno == EINTR) {
        }
    }
    endProcess(0);
}

/// Waits until the child has sent its result or has ended without one.
ChildResult resultFrom(int fd, Clock::time_point end) {
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) return ChildResult::timedOut;
        pollfd watched = {fd, POLLIN, 0};
        if (poll(&watched, 1, static_cast<int>(left)) <= 0) continue;
        char mark = 0;
        const ssize_t count = read(fd, &mark, 1);
        if (count < 0 && errno == EINTR) continue;
        return count == 1 && mark == kSucceeded ? ChildResult::succeeded : ChildResult::failed;
    }
}

}  // namespace

ChildResult runInChild(const std::function<bool()>& task, std::chrono::milliseconds limit) {
    printRaw("");  // what the stream's buffer holds would be written twice
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return ChildResult::failed;
    const pid_t child = fork();
    if (child == 0) runAsChild(task, ends[1]);
    close(ends[1]);
    ChildResult result = ChildResult::failed;
    if (child > 0) {
        setpgid(child, child);  // here as well: it may not have run yet when it is to be killed
        result = resultFrom(ends[0], Clock::now() + limit);
        if (result == ChildResult::timedOut) kill(-child, SIGKILL);
        reap(child);
    }
    close(ends[0]);
    return result;
}

}  // namespace hcrpt

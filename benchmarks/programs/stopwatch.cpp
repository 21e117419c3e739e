// Runs a program in a directory and prints the time it took in nanoseconds.
//
//   stopwatch -file NAME DIRECTORY PROGRAM [ARGUMENT...]   from the program's mark until the file
//                                                          has been closed; then ends the program
//   stopwatch -exit DIRECTORY PROGRAM [ARGUMENT...]        from the program's mark until its end
//   stopwatch -run DIRECTORY PROGRAM [ARGUMENT...]         from its start until its end
//
// The second figure is the program's exit status as a shell reports it. The program's output goes
// to standard error.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "benchmarks/support/Clock.h"
#include "benchmarks/support/Mark.h"

namespace {

[[noreturn]] void fail(const char* what) {
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

std::int64_t awaitClose(int watch, const char* name) {
    alignas(inotify_event) char events[4096];
    for (;;) {
        const ssize_t size = read(watch, events, sizeof events);
        const std::int64_t time = bench::now();
        if (size <= 0) fail("inotify");
        for (ssize_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(events + at);
            if (event->len > 0 && std::strncmp(event->name, name, std::strlen(name)) == 0)
                return time;
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bool untilFile = argc > 4 && std::strcmp(argv[1], "-file") == 0;
    const bool fromStart = argc > 3 && std::strcmp(argv[1], "-run") == 0;
    if (!untilFile && !fromStart && !(argc > 3 && std::strcmp(argv[1], "-exit") == 0))
        return EXIT_FAILURE;
    char** const arguments = argv + (untilFile ? 3 : 2);
    if (chdir(arguments[0]) != 0) fail(arguments[0]);

    int watch = -1;
    if (untilFile) {
        watch = inotify_init1(IN_CLOEXEC);
        if (inotify_add_watch(watch, ".", IN_CLOSE_WRITE) < 0) fail("inotify");
    }
    int mark[2];
    if (pipe2(mark, O_CLOEXEC) != 0) fail("pipe");
    const std::int64_t start = bench::now();
    const pid_t child = fork();
    if (child == 0) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        if (mark[1] == bench::kMarkDescriptor)
            fcntl(mark[1], F_SETFD, 0);
        else
            dup2(mark[1], bench::kMarkDescriptor);
        execv(arguments[1], arguments + 1);
        _exit(127);
    }
    close(mark[1]);
    const std::int64_t closed = untilFile ? awaitClose(watch, argv[2]) : 0;
    if (untilFile) kill(child, SIGKILL);
    int status = 0;
    if (waitpid(child, &status, 0) != child) fail("waitpid");
    const std::int64_t end = untilFile ? closed : bench::now();

    timespec marked = {};
    const bool hasMark = read(mark[0], &marked, sizeof marked) == sizeof marked;
    if (!fromStart && !hasMark) fail("no mark");
    std::printf("%lld %d\n",
                static_cast<long long>(end - (fromStart ? start : bench::nanoseconds(marked))),
                WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
    return EXIT_SUCCESS;
}

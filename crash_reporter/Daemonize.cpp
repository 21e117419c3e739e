#include "crash_reporter/Daemonize.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <initializer_list>

namespace crash_reporter {
namespace {

void resetSignals() {
    for (int number = 1; number < NSIG; ++number) {
        // Those that cannot be set are refused, which is fine.
        struct sigaction action = {};
        action.sa_handler = SIG_DFL;
        sigaction(number, &action, nullptr);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void leaveTerminal() {
    // A process that leads its group already, as one started by hand in a shell does, cannot lead a
    // session; then at least the end of the terminal does not end it.
    if (setsid() < 0) signal(SIGHUP, SIG_IGN);
}

void closeDescriptors() {
    const int null = open("/dev/null", O_RDWR);
    if (null >= 0) {
        dup2(null, STDIN_FILENO);
        // Closed ones would be taken by the next files that are opened.
        for (const int fd : {STDOUT_FILENO, STDERR_FILENO})
            if (fcntl(fd, F_GETFD) < 0) dup2(null, fd);
    }
    closefrom(STDERR_FILENO + 1);  // also where the kernel does not know close_range()
}

void cleanEnvironment() {
    for (const char* name : {"LD_LIBRARY_PATH", "LD_PRELOAD", "LD_AUDIT"}) unsetenv(name);
}

}  // namespace

void daemonize() {
    umask(077);
    resetSignals();
    leaveTerminal();
    closeDescriptors();
    cleanEnvironment();
}

}  // namespace crash_reporter

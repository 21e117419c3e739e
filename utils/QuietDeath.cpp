#include "utils/QuietDeath.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <initializer_list>

#include "base/FatalSignals.h"

namespace hcrpt {

void dieQuietly() {
    for (const int number : kFatalSignals) signal(number, SIG_DFL);
    for (const int number : {SIGTERM, SIGPROF, SIGPIPE}) signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
}

void reap(pid_t child) {
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace hcrpt

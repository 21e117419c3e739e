#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "hcrpt/HCrashCapture.h"
#include "utils/Message.h"

namespace {

// Never set to false. The compiler can neither warn about a recursion without an end, nor, since
// reading it counts as an effect, take the endless loop out that it may make of it.
volatile bool s_goOn = true;

}  // namespace

void HCrashRptDebug::forceStackOverflow(int value) {
    if (s_goOn) forceStackOverflow(value);
}

int HCrashRptDebug::forceCoreDump() {
    // What waits in the buffer would be printed by the crashing copy as well.
    hcrpt::printRaw("");
    const pid_t child = fork();
    if (child != 0) return child;
    std::raise(SIGABRT);
    // Here the signal is ignored or blocked. A second host must not run on: this one overrides
    // both.
    std::abort();
}

void HCrashRptDebug::setCoreFileSizeLimit() {
    const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    if (setrlimit(RLIMIT_CORE, &unlimited) != 0)
        hcrpt::logError("Unable to set core dump size to unlimited");
}

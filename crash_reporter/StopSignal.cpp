#include "crash_reporter/StopSignal.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "hcrpt/HCrashReporter.h"

namespace crash_reporter {
namespace {

volatile sig_atomic_t s_requested = 0;
int s_event = -1;
pid_t s_owner = 0;

void onSignal(int) {
    const int before = errno;
    s_requested = 1;
    HCrashReporter::stopAfterThisReport();
    // A forked child shares the descriptor, and must not wake its parent.
    const std::uint64_t one = 1;
    if (s_event >= 0 && getpid() == s_owner && write(s_event, &one, sizeof one) < 0) {
        // Full: it is readable already.
    }
    errno = before;
}

}  // namespace

StopSignal::StopSignal() {
    s_owner = getpid();
    s_event = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    struct sigaction action = {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
}

StopSignal::~StopSignal() {
    signal(SIGTERM, SIG_DFL);
    if (s_event >= 0) close(s_event);
    s_event = -1;
    s_requested = 0;
}

int StopSignal::descriptor() const {
    return s_event;
}

bool StopSignal::isRequested() const {
    return s_requested != 0;
}

}  // namespace crash_reporter

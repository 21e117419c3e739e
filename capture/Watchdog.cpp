#include "capture/Watchdog.h"

#include <signal.h>
#include <sys/time.h>

#include "utils/ProcessEnd.h"

namespace hcrpt::Watchdog {
namespace {

volatile sig_atomic_t s_status = 0;  // 0: not enabled

void endWhenExpired(int) {
    hcrpt::endProcess(s_status);
}

}  // namespace

void enable(int status) {
    s_status = status;
}

void set(int seconds) {
    if (s_status == 0) return;
    struct sigaction action = {};
    action.sa_handler = &endWhenExpired;
    sigfillset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    itimerval timer = {};
    timer.it_value.tv_sec = seconds;
    setitimer(ITIMER_REAL, &timer, nullptr);
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
}

}  // namespace hcrpt::Watchdog

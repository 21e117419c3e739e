#include "capture/Watchdog.h"

#include <signal.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include "base/ProcessEnd.h"

namespace hcrpt::Watchdog {
namespace {

constexpr int kNoTimer = -1;

// Hardly any program uses this signal, so the host's own timers do not disturb waits.
constexpr int kSignal = SIGSTKFLT;

volatile sig_atomic_t s_status = 0;  // 0: not enabled
timespec s_end = {};
int s_timer = kNoTimer;  // as the kernel numbers it

bool hasExpired() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec != s_end.tv_sec ? now.tv_sec > s_end.tv_sec : now.tv_nsec >= s_end.tv_nsec;
}

bool isOfOwnTimer(const siginfo_t& info) {
    if (s_timer == kNoTimer) return true;  // the interval timer's signal says nothing of its origin
    return info.si_code == SI_TIMER && info.si_timerid == s_timer &&
           info.si_value.sival_ptr == &s_end;
}

// The host may use the signal, too: the deadline counts only once it has passed.
void endWhenExpired(int, siginfo_t* info, void*) {
    if (isOfOwnTimer(*info) && hasExpired()) hcrpt::endProcess(s_status);
}

/// Makes a timer whose signal goes to the calling thread. Its expiry cannot be changed by another
/// thread that does not know its number, as that of the interval timers can.
void makeTimer() {
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = kSignal;
    event.sigev_value.sival_ptr = &s_end;
    event._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
    if (syscall(SYS_timer_create, CLOCK_MONOTONIC, &event, &s_timer) != 0) s_timer = kNoTimer;
}

void stopIntervalTimers() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    setitimer(ITIMER_VIRTUAL, &never, nullptr);
    setitimer(ITIMER_PROF, &never, nullptr);
}

void takeSignal(int number) {
    struct sigaction action = {};
    action.sa_sigaction = &endWhenExpired;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
    sigset_t unblocked;
    sigemptyset(&unblocked);
    sigaddset(&unblocked, number);
    pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
}

}  // namespace

void enable(int status) {
    stopIntervalTimers();
    makeTimer();
    takeSignal(s_timer == kNoTimer ? SIGALRM : kSignal);
    s_status = status;
}

void set(int seconds) {
    if (s_status == 0) return;
    clock_gettime(CLOCK_MONOTONIC, &s_end);
    s_end.tv_sec += seconds;
    if (s_timer == kNoTimer) {
        itimerval timer = {};
        timer.it_value.tv_sec = seconds;
        setitimer(ITIMER_REAL, &timer, nullptr);
        return;
    }
    itimerspec timer = {};
    timer.it_value = s_end;
    syscall(SYS_timer_settime, s_timer, TIMER_ABSTIME, &timer, nullptr);
}

int secondsLeft() {
    itimerspec timer = {};
    if (s_timer != kNoTimer) syscall(SYS_timer_gettime, s_timer, &timer);
    return static_cast<int>(timer.it_value.tv_sec) + (timer.it_value.tv_nsec > 0 ? 1 : 0);
}

}  // namespace hcrpt::Watchdog

/// @file
/// What is left of a crashing process's time.
#pragma once

#include <sys/time.h>

/// Seconds, rounded up, until the deadline ends this process; 0 where none is set.
inline long secondsLeft() {
    itimerval timer = {};
    getitimer(ITIMER_REAL, &timer);
    return timer.it_value.tv_sec + (timer.it_value.tv_usec > 0 ? 1 : 0);
}

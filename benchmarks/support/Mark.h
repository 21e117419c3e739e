/// @file
/// Marks the moment from which benchmarks/programs/stopwatch measures.
#pragma once

#include <unistd.h>

#include <ctime>

namespace bench {

constexpr int kMarkDescriptor = 3;

/// Tells the stopwatch that started this program to begin its measurement now.
inline void markNow() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    [[maybe_unused]] const ssize_t written = write(kMarkDescriptor, &now, sizeof now);
}

}  // namespace bench

/// @file
/// The moment from which benchmarks/programs/stopwatch counts.
#pragma once

#include <unistd.h>

#include <ctime>

namespace bench {

constexpr int kMarkDescriptor = 3;

/// Tells the stopwatch that started this program that what is to be measured begins now.
inline void markNow() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    [[maybe_unused]] const ssize_t written = write(kMarkDescriptor, &now, sizeof now);
}

}  // namespace bench

/// @file
/// The clock of all benchmarks.
#pragma once

#include <cstdint>
#include <ctime>

namespace bench {

inline std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{1000000000} * time.tv_sec + time.tv_nsec;
}

/// Returns the nanoseconds of a monotonic clock.
inline std::int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return nanoseconds(time);
}

}  // namespace bench

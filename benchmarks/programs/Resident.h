/// @file
/// How much memory this process holds.
#pragma once

#include <unistd.h>

#include <cstdio>

namespace bench {

/// Prints the resident memory of this process in KiB.
inline void printResident() {
    FILE* const file = std::fopen("/proc/self/statm", "r");
    long total = 0;
    long resident = 0;
    if (file == nullptr || std::fscanf(file, "%ld %ld", &total, &resident) != 2) _exit(1);
    std::printf("%ld\n", resident * (sysconf(_SC_PAGESIZE) / 1024));
}

}  // namespace bench

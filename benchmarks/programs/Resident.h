/// @file
/// Measures the memory of this process.
#pragma once

#include <unistd.h>

#include <cstdio>

namespace bench {

/// Prints, in KiB, the resident memory of this process and the part of it that it shares with no
/// other process and no file.
inline void printResident() {
    FILE* const file = std::fopen("/proc/self/smaps_rollup", "r");
    if (file == nullptr) _exit(1);
    long resident = 0;
    long own = 0;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        std::sscanf(line, "Rss: %ld", &resident);
        std::sscanf(line, "Private_Dirty: %ld", &own);
    }
    std::printf("%ld %ld\n", resident, own);
}

}  // namespace bench

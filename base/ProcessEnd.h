/// @file
/// The end of a process that runs no exit handlers: a crashing host, a forked child.
#pragma once

#include <unistd.h>

#ifdef HCRPT_COVERAGE
extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the compiler's own name
#endif

namespace hcrpt {

/// Writes the counters of a coverage build, which an exit handler writes otherwise; nothing in any
/// other build. @signalsafe
inline void writeCoverage() {
#ifdef HCRPT_COVERAGE
    __gcov_dump();
#endif
}

/// Ends the process at once: no exit handlers, no flush, no core. @signalsafe
[[noreturn]] inline void endProcess(int status) {
    writeCoverage();
    _exit(status);
}

}  // namespace hcrpt

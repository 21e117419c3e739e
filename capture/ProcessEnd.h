/// @file
/// The end of a dying process.
#pragma once

#include <unistd.h>

#ifdef HCRPT_COVERAGE
extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier): the compiler's own name
#endif

namespace hcrpt {

/// Ends the process at once: no exit handlers, no flush, no core. @signalsafe
[[noreturn]] inline void endProcess(int status) {
#ifdef HCRPT_COVERAGE
    __gcov_dump();  // counters are written by an exit handler otherwise
#endif
    _exit(status);
}

}  // namespace hcrpt

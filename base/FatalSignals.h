/// @file
/// The signals that the library reports.
#pragma once

#include <signal.h>

namespace hcrpt {

/// Raised by what a thread does itself: a fault, or abort().
inline constexpr int kFaultSignals[] = {SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGSEGV};

/// All signals of which a crash report is written. SIGSEGV comes last: its handler is the one that
/// may fail to be installed.
inline constexpr int kFatalSignals[] = {SIGILL, SIGFPE, SIGBUS, SIGABRT, SIGQUIT, SIGSEGV};

}  // namespace hcrpt

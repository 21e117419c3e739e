/// @file
/// What is on disk before anything can end the crash handler.
#pragma once

#include "capture/Interruption.h"

namespace hcrpt::FirstTrace {

/// Finds the program's own path, which the loader does not keep. @ordinary
void prepare();

/// Writes header, notice and the line of the interrupted instruction into the raw trace, and puts
/// them on disk, with no system calls but rt_sigprocmask(), open(), write() and fsync(): a sandbox
/// may end the process at any other. The complete raw trace replaces them, byte by byte and then as
/// a whole. The line tells module and offset. The loader's own table of modules is read without its
/// lock. Failures are ignored: nothing is lost by them. @signalsafe, within a signal handler only.
void write(int signal, const Interruption& interruption);

}  // namespace hcrpt::FirstTrace

/// @file
/// Forked children whose failure is theirs alone.
#pragma once

#include <sys/types.h>

namespace hcrpt {

/// Gives signals their usual effect again in a child that was forked for a task of its own: neither
/// the host's handlers nor this library's run in it, and no core file is written. @crashtime
void dieQuietly();

/// Waits until a child has ended, however often a signal interrupts that. @crashtime
void reap(pid_t child);

}  // namespace hcrpt

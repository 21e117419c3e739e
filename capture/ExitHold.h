/// @file
/// The end of the process by another thread while one crashes.
#pragma once

namespace hcrpt {

/// From now on a thread that calls exit() or quick_exit(), or returns from main(), while another
/// one crashes, waits for the end of the crash handler, CrashClaim::kMaxCrashSeconds at most. The
/// library does so for exit() as one of the last exit handlers, too, from its loading on: a crash
/// that begins among the exit handlers is reported as well. _exit() and exec() cannot be held.
/// @ordinary
void holdExitWhileCrashing();

}  // namespace hcrpt

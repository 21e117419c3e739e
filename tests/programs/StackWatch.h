/// @file
/// Shows from outside how much of its stacks a crashing process has used.
#pragma once

namespace stack_watch {

/// Where the environment names a directory in CRASH_HOST_STACK_DIR, the alternate signal stack and
/// the crash stack of this process become files there ("altstack", "crashstack"), painted with
/// kPaint, the alternate one with a page beneath it that ends the process when it is touched. The
/// files outlive the process, so a test reads from them how deep it went. Works by standing in for
/// sigaltstack() and mmap().
constexpr unsigned char kPaint = 0xA5;

/// Names the environment variable.
constexpr char kDirectoryVariable[] = "CRASH_HOST_STACK_DIR";

}  // namespace stack_watch

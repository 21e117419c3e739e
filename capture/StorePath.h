/// @file
/// The crash store's path without the heap.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Builds what HCrashRptSettings::getCrashStorePath() returns, from the environment as it is now.
/// @signalsafe
/// @return false when the buffer is too small; its text is cut then.
bool crashStorePath(char* buffer, std::size_t size);

/// Makes a directory and its missing parents, each for its owner only. The text is changed and
/// restored on the way. Failures show when the directory is looked for. @signalsafe
void makeDirectories(char* path);

}  // namespace hcrpt

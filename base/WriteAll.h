/// @file
/// Output that is complete in spite of signals and short writes.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Writes all bytes; goes on after signals and short writes. @signalsafe
/// @return false when an error, or a device that takes nothing, kept the rest from being written.
bool writeAll(int fd, const char* data, std::size_t length);

}  // namespace hcrpt

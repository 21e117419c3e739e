/// @file
/// Output that neither a signal nor a short write cuts off.
#pragma once

#include <cstddef>
#include <cstdio>

namespace hcrpt {

/// Writes all bytes; goes on after signals and short writes. @signalsafe
/// @return false when an error kept the rest from being written.
bool writeAll(int fd, const char* data, std::size_t length);

// fwrite() and fflush() give up what is in the buffer when a signal interrupts them. These do not.
// The caller holds the stream's lock.

/// Puts text behind what the buffer of an output stream holds. It stays there as long as there is
/// room for it; no buffer is taken from the heap for it. @signalsafe
void putText(FILE* stream, const char* text, std::size_t length);
/// Writes out what the buffer of an output stream holds. @signalsafe
void flushText(FILE* stream);

}  // namespace hcrpt

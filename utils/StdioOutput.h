/// @file
/// Output through stdio's buffers that no signal cuts off.
#pragma once

#include <cstddef>
#include <cstdio>

namespace hcrpt {

// fwrite() and fflush() drop what is in the buffer when a signal interrupts them. These do not.
// The caller holds the stream's lock.

/// Appends text to the buffer of an output stream. It stays there as long as there is room for it;
/// no buffer is taken from the heap for it. @signalsafe
void putText(FILE* stream, const char* text, std::size_t length);
/// Writes out what the buffer of an output stream holds. @signalsafe
void flushText(FILE* stream);

}  // namespace hcrpt

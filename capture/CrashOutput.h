/// @file
/// Output of a crashing process.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Puts text on standard output behind what stdio's buffer holds already. Where that buffer is not
/// there yet, or its lock is held by a thread that may never give it back, the bytes go straight to
/// the descriptor: neither the heap nor a lock is waited for. A full pipe is waited for a second;
/// then the text is lost. @signalsafe
void putStdout(const char* text, std::size_t length);
void putStdout(const char* text);

/// Flushes stdio's buffer of standard output, unless its lock is held or nobody takes the output.
/// @signalsafe
void flushStdout();

}  // namespace hcrpt

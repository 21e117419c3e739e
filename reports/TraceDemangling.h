/// @file
/// Makes the text of a stack-trace log from a raw trace.
#pragma once

#include <istream>
#include <ostream>

namespace hcrpt {

/// Reads a raw trace line by line and writes its frames with demangled names and without
/// directories. Skips empty lines and frames of this library and of the in-house stream library. A
/// line may have any length. Grade: @ordinary.
void demangleTrace(std::istream& raw, std::ostream& readable);

}  // namespace hcrpt

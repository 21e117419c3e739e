/// @file
/// The text of a stack-trace log.
#pragma once

#include <istream>
#include <ostream>

namespace hcrpt {

/// Reads a raw trace line by line and writes what readers want to see of it: lines without
/// directories, without frames of this library and of the in-house stream library, without empty
/// lines, with demangled names. A line may be of any length. Grade: @ordinary.
void demangleTrace(std::istream& raw, std::ostream& readable);

}  // namespace hcrpt

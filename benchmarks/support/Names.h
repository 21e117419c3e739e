/// @file
/// Makes traces with the names of real C++ functions.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// Returns the mangled names of the functions that this machine's C++ library exports.
const std::vector<std::string>& realNames();

/// Returns a raw trace with that number of lines in the form of backtrace_symbols_fd(). Names
/// repeat when all have been used.
std::string rawTrace(std::size_t lines);

}  // namespace bench

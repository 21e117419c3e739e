/// @file
/// Traces with the names of real C++ functions.
#pragma once

#include <string>
#include <vector>

namespace bench {

/// The mangled names of the functions that the C++ library of this machine exports.
const std::vector<std::string>& realNames();

/// A raw trace of so many lines, in the form of backtrace_symbols_fd(); names repeat once all have
/// been used.
std::string rawTrace(std::size_t lines);

}  // namespace bench

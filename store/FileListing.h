/// @file
/// Listing of a directory by several name prefixes at once.
#pragma once

#include <string>
#include <vector>

namespace hcrpt {

/// Returns for each prefix the paths of the entries that begin with it and are no directories, in
/// directory order, from one walk over the directory. Nothing for an empty prefix, and for a path
/// that leads to no directory. Grade: @crashtime.
[[nodiscard]] std::vector<std::vector<std::string>> filesWithPrefixes(
    const std::vector<std::string>& prefixes, const std::string& directory);

/// The same for a single prefix.
[[nodiscard]] std::vector<std::string> filesWithPrefix(const std::string& prefix,
                                                       const std::string& directory);

}  // namespace hcrpt

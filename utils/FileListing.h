/// @file
/// Listing of a directory by several name prefixes at once.
#pragma once

#include <string>
#include <vector>

namespace hcrpt {

/// What HCrashRptUtils::getFilesWithPrefix() gives for each of the prefixes, from one walk over the
/// directory. Grade: @crashtime.
std::vector<std::vector<std::string>> filesWithPrefixes(const std::vector<std::string>& prefixes,
                                                        const std::string& directory);

}  // namespace hcrpt

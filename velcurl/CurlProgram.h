/// @file
/// Where curl is.
#pragma once

#include <string>
#include <vector>

namespace velcurl {

/// Where the system keeps curl, in the order of looking. The user's PATH does not count: the host
/// application may have put a curl of its own there, which needs the libraries that are removed.
const std::vector<std::string>& systemPlaces();

/// The first of the places that is an executable file; empty when none is.
std::string findCurl(const std::vector<std::string>& places);

}  // namespace velcurl

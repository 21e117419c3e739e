/// @file
/// Finds the system's curl.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velcurl {

/// Where the system keeps curl, in the order in which findCurl() is to try them. PATH is not used:
/// the host application may have put its own curl there, and that curl needs the library paths
/// that velcurl removes.
const std::vector<std::string>& systemPlaces();

/// Returns the first of the places that is an executable file; nothing when none is.
[[nodiscard]] std::optional<std::string> findCurl(const std::vector<std::string>& places);

}  // namespace velcurl

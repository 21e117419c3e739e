/// @file
/// Builds the environment for curl.
#pragma once

#include <string>
#include <vector>

namespace velcurl {

/// Returns true for a variable that curl must not get, because it would load the host application's
/// libraries, modules or configuration into curl, change whom curl trusts, or make curl write
/// session keys to a file.
bool isHarmful(const std::string& name);

/// Returns the entries of an environment block ("NAME=value", ended by a null pointer) in their
/// order, without the harmful ones.
std::vector<std::string> curlEnvironment(const char* const* environment);

}  // namespace velcurl

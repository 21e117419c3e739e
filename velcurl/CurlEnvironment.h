/// @file
/// The environment for curl.
#pragma once

#include <string>
#include <vector>

namespace velcurl {

/// Whether a variable is kept from curl: it would load the host application's libraries, modules or
/// configuration into curl, change whom curl trusts, or make it write session keys to a file.
bool isHarmful(const std::string& name);

/// The entries of an environment block ("NAME=value", ended by a null pointer) without the harmful
/// ones, in their order.
std::vector<std::string> curlEnvironment(const char* const* environment);

}  // namespace velcurl

/// @file
/// Reads a request as the web server hands it to a CGI program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace report_server {

/// Returns an environment variable; empty when it is not set.
std::string variable(const char* name);

/// Reads a number that consists of digits only; leading zeros are accepted. @return nothing for any
/// other text and for a number that does not fit
[[nodiscard]] std::optional<std::uint64_t> decimal(const std::string& text);

/// Reads a request body of length bytes from a descriptor.
/// @return nothing when the body ends early or cannot be read
[[nodiscard]] std::optional<std::string> readBody(int descriptor, std::size_t length);

}  // namespace report_server

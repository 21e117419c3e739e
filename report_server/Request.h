/// @file
/// The request as the web server hands it to a CGI program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace report_server {

/// An environment variable; empty when it is not set.
std::string variable(const char* name);

/// A number of digits alone, "007" included. @return nothing for any other text or one too large.
[[nodiscard]] std::optional<std::uint64_t> decimal(const std::string& text);

/// Reads a request body of that length from a descriptor.
/// @return nothing when it ends early or cannot be read.
[[nodiscard]] std::optional<std::string> readBody(int descriptor, std::size_t length);

}  // namespace report_server

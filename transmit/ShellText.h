/// @file
/// Checks of texts that go into a shell's command line.
#pragma once

#include <string>

namespace hcrpt {

/// Returns true when a POSIX shell leaves the text between double quotes unchanged: the text holds
/// no $, `, ", \ or line feed, which would run commands, insert variables or end the quotes.
[[nodiscard]] bool isPlainInDoubleQuotes(const std::string& text);

}  // namespace hcrpt

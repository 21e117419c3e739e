/// @file
/// Texts on their way into a shell's command line.
#pragma once

#include <string>

namespace hcrpt {

/// Whether a POSIX shell reads the text between double quotes as it stands: without $, `, ", \ and
/// line feeds, which would run commands, insert variables or end the quotes.
[[nodiscard]] bool isPlainInDoubleQuotes(const std::string& text);

}  // namespace hcrpt

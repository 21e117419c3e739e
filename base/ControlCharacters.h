/// @file
/// Characters that would break a line or drive a terminal.
#pragma once

#include <algorithm>
#include <string>

namespace hcrpt {

/// Returns true for the control characters of ASCII, whatever the locale. @signalsafe
[[nodiscard]] constexpr bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Puts "?" in the place of each control character, so that the text stays on one line. @ordinary
[[nodiscard]] inline std::string withoutControls(std::string text) {
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return text;
}

}  // namespace hcrpt

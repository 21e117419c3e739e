/// @file
/// Numbers that others have written, read without locale or exceptions.
#pragma once

#include <charconv>
#include <optional>
#include <string>

namespace hcrpt {

/// Returns true for a text of 1 to `maxDigits` decimal digits and nothing else. @ordinary
[[nodiscard]] inline bool isDigits(const std::string& text, std::size_t maxDigits) {
    return !text.empty() && text.size() <= maxDigits &&
           text.find_first_not_of("0123456789") == std::string::npos;
}

/// Returns true for a process id in digits. Nine digits at most: every such number fits into a
/// pid_t, and Linux hands out none of more than seven. @ordinary
[[nodiscard]] inline bool isProcessId(const std::string& text) {
    return isDigits(text, 9);
}

/// @return the number that the whole text is; nothing for any other text, and for a number that
///         the type cannot hold. @ordinary
template <typename Number>
std::optional<Number> numberIn(const std::string& text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end) return std::nullopt;
    return number;
}

}  // namespace hcrpt

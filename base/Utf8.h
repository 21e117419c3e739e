/// @file
/// Texts that every reader of JSON accepts.
#pragma once

#include <string>
#include <string_view>

namespace hcrpt {

/// The text with U+FFFD in place of each sequence that is no UTF-8: stray and missing continuation
/// bytes, overlong forms, surrogates, code points beyond U+10FFFF. Valid text is unchanged. The
/// longest beginning of a valid sequence counts as one error, as Unicode recommends. @ordinary
std::string validUtf8(std::string_view bytes);

}  // namespace hcrpt

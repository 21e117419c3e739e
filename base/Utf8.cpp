#include "base/Utf8.h"

#include <cstddef>

namespace hcrpt {
namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";  // U+FFFD

/// What a first byte calls for.
struct Form {
    std::size_t length = 0;                       ///< of the sequence; 0: no sequence begins so
    unsigned char lowest = 0x80, highest = 0xbf;  ///< bounds of its second byte
};

Form formOf(unsigned char first) {
    if (first < 0x80) return {1};
    if (first < 0xc2) return {};  // a continuation byte, or an overlong form of two bytes
    if (first < 0xe0) return {2};
    if (first == 0xe0) return {3, 0xa0};        // below: overlong
    if (first == 0xed) return {3, 0x80, 0x9f};  // above: surrogates
    if (first < 0xf0) return {3};
    if (first == 0xf0) return {4, 0x90};  // below: overlong
    if (first < 0xf4) return {4};
    if (first == 0xf4) return {4, 0x80, 0x8f};  // above: beyond U+10FFFF
    return {};
}

/// Number of bytes that belong to the sequence at the beginning of a text that is not empty.
std::size_t validBytes(std::string_view text, const Form& form) {
    std::size_t count = 1;
    for (; count < form.length && count < text.size(); ++count) {
        const auto byte = static_cast<unsigned char>(text[count]);
        const bool isSecond = count == 1;
        if (byte < (isSecond ? form.lowest : 0x80) || byte > (isSecond ? form.highest : 0xbf))
            break;
    }
    return count;
}

}  // namespace

std::string validUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Form form = formOf(static_cast<unsigned char>(bytes.front()));
        const std::size_t count = validBytes(bytes, form);
        text.append(count == form.length ? bytes.substr(0, count) : kReplacement);
        bytes.remove_prefix(count);
    }
    return text;
}

}  // namespace hcrpt

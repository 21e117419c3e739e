// Runs on the 8 KiB alternate stack: small frames, no heap, no stdio, no strings.
#include "base/TextBuilder.h"

#include <cstring>

namespace hcrpt {

TextBuilder::TextBuilder(char* buffer, std::size_t size) : m_buffer(buffer), m_size(size) {
    m_buffer[0] = '\0';
}

TextBuilder& TextBuilder::add(const char* text) {
    return add(text, std::strlen(text));
}

TextBuilder& TextBuilder::add(const char* text, std::size_t length) {
    const std::size_t room = m_size - 1 - m_length;
    if (length > room) {
        length = room;
        m_isCut = true;
    }
    for (std::size_t i = 0; i < length; ++i) m_buffer[m_length++] = text[i];
    m_buffer[m_length] = '\0';
    return *this;
}

TextBuilder& TextBuilder::add(int number) {
    if (number >= 0) return addDigits(static_cast<unsigned>(number), 10);
    // Negated as unsigned, since the smallest int has no positive counterpart.
    return add("-").addDigits(0U - static_cast<unsigned>(number), 10);
}

TextBuilder& TextBuilder::addHex(std::uintptr_t number) {
    return add("0x").addDigits(number, 16);
}

TextBuilder& TextBuilder::addDigits(std::uintptr_t number, unsigned base) {
    char digits[20];  // the largest number has as many decimal digits
    char* next = digits + sizeof digits;
    do {
        *--next = "0123456789abcdef"[number % base];
        number /= base;
    } while (number != 0);
    return add(next, static_cast<std::size_t>(digits + sizeof digits - next));
}

}  // namespace hcrpt

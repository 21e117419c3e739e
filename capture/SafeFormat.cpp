#include "capture/SafeFormat.h"

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
    char digits[12] = {};  // a sign, ten digits, a zero
    char* next = digits + sizeof digits;
    *--next = '\0';
    // Negated as unsigned, since the smallest int has no positive counterpart.
    unsigned rest = number < 0 ? 0U - static_cast<unsigned>(number) : static_cast<unsigned>(number);
    do {
        *--next = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    if (number < 0) *--next = '-';
    return add(next);
}

}  // namespace hcrpt

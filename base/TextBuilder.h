/// @file
/// Builds texts without heap, stdio or locale.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hcrpt {

/// Appends to a buffer that the caller owns, and keeps it terminated. What does not fit is cut
/// off. @signalsafe
class TextBuilder {
  public:
    /// @param size of the buffer in bytes, with room for the terminating zero; at least 1
    TextBuilder(char* buffer, std::size_t size);

    TextBuilder& add(const char* text);
    /// The first `length` bytes of a text that has at least as many.
    TextBuilder& add(const char* text, std::size_t length);
    TextBuilder& add(int number);
    /// In hexadecimal: "0x" and lower-case digits, without leading zeros.
    TextBuilder& addHex(std::uintptr_t number);

    const char* text() const { return m_buffer; }
    std::size_t length() const { return m_length; }
    /// Returns true when something did not fit.
    bool isCut() const { return m_isCut; }

  private:
    TextBuilder& addDigits(std::uintptr_t number, unsigned base);

    char* m_buffer;
    std::size_t m_size;
    std::size_t m_length = 0;
    bool m_isCut = false;
};

}  // namespace hcrpt

/// @file
/// Texts put together without heap, stdio or locale.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Appends to a buffer that someone else owns, and keeps it terminated. What does not fit is cut
/// off. @signalsafe
class TextBuilder {
  public:
    /// @param size of the buffer, with room for the terminating zero; at least 1
    TextBuilder(char* buffer, std::size_t size);

    TextBuilder& add(const char* text);
    /// The first `length` bytes of a text that has at least as many.
    TextBuilder& add(const char* text, std::size_t length);
    TextBuilder& add(int number);

    const char* text() const { return m_buffer; }
    std::size_t length() const { return m_length; }
    /// Whether something did not fit.
    bool isCut() const { return m_isCut; }

  private:
    char* m_buffer;
    std::size_t m_size;
    std::size_t m_length = 0;
    bool m_isCut = false;
};

}  // namespace hcrpt

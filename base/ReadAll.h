/// @file
/// Input that is complete in spite of signals and short reads.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace hcrpt {

/// One read() that is repeated when a signal interrupts it. @signalsafe
/// @return read()'s result: the number of bytes, 0 at the end, -1 on an error
[[nodiscard]] ssize_t readSome(int fd, char* data, std::size_t length);

/// Fills the buffer; goes on after signals and short reads. @signalsafe
/// @return the number of bytes read: fewer than `length` at the end and after an error
[[nodiscard]] std::size_t readAll(int fd, char* data, std::size_t length);

/// Reads up to the end. @ordinary
/// @return the text; after an error the part before it
[[nodiscard]] std::string readToEnd(int fd);

}  // namespace hcrpt

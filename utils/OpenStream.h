/// @file
/// Opening file streams.
#pragma once

#include <cerrno>
#include <ios>
#include <string>

namespace hcrpt {

/// Opens a file stream, again where a signal interrupts that. Whether it is open then is its own to
/// tell. @crashtime
template <typename Stream>
void openStream(Stream& stream, const std::string& path, std::ios::openmode mode) {
    do {
        errno = 0;
        stream.open(path, mode);
    } while (!stream.is_open() && errno == EINTR);
}

}  // namespace hcrpt

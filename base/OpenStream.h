/// @file
/// Opening file streams.
#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <ios>
#include <string>

namespace hcrpt {

/// Opens a file stream, again where a signal interrupts that. stream.is_open() tells the result.
/// @crashtime
template <typename Stream>
void openStream(Stream& stream, const std::string& path, std::ios::openmode mode) {
    do {
        errno = 0;
        stream.open(path, mode);
    } while (!stream.is_open() && errno == EINTR);
}

/// Returns true when the path leads to a named pipe: opening one for reading waits until somebody
/// writes into it. @crashtime
[[nodiscard]] inline bool isNamedPipe(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode);
}

}  // namespace hcrpt

/// @file
/// Return addresses as the C library writes them.
#pragma once

#include <execinfo.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

/// One line for each address.
inline std::string traceLines(void* const* addresses, int count) {
    const int fd = memfd_create("trace-lines", MFD_CLOEXEC);
    backtrace_symbols_fd(addresses, count, fd);
    std::string text(static_cast<std::size_t>(lseek(fd, 0, SEEK_END)), '\0');
    const ssize_t got = pread(fd, text.data(), text.size(), 0);
    close(fd);
    return got == static_cast<ssize_t>(text.size()) ? text : "cannot be read";
}

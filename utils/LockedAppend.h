/// @file
/// Appending to a file under its lock.
#pragma once

#include <optional>
#include <string>

#include "hcrpt/HCrashRptUtils.h"

namespace hcrpt {

/// Appends a text to an open file under an exclusive lock, which it tries to take once.
/// @return how many bytes were written, -1 on failure; nothing when another process holds the lock.
[[nodiscard]] inline std::optional<ssize_t> appendUnderLock(int fd, const std::string& text) {
    if (HCrashRptUtils::fileLock(fd, "LOCK_EX|LOCK_NB") != 0) return std::nullopt;
    const ssize_t written = HCrashRptUtils::fileWrite(fd, text);
    HCrashRptUtils::fileLock(fd, "LOCK_UN");
    return written;
}

}  // namespace hcrpt

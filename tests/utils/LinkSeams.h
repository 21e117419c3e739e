/// @file
/// System calls of the code under test that a test can watch or make fail.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <functional>
#include <optional>

#include "support/ScopedSeam.h"

/// The linker sends these calls here (--wrap). A function that is set answers instead of the
/// system; each test resets what it has set (ScopedSeam).
namespace seams {

extern std::function<pid_t()> onFork;
extern std::function<int(const timespec*, timespec*)> onNanosleep;
/// The real call follows where it gives std::nullopt.
extern std::function<std::optional<ssize_t>(int fd, const void* data, std::size_t size)> onWrite;
extern std::function<tm*(const std::time_t*, tm*)> onLocaltime;
extern std::function<char*(const std::time_t*, char*)> onCtime;
/// Runs before the real call, which follows.
extern std::function<void(const char*, const char*)> beforeRename;

using test_support::ScopedSeam;

}  // namespace seams

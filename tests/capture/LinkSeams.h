/// @file
/// System calls of the code under test that a test can watch, answer or make fail.
#pragma once

#include <signal.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <functional>
#include <optional>

#include "support/ScopedSeam.h"

/// The linker sends these calls here (--wrap). A function that is set answers instead of the
/// system, unless it gives std::nullopt: then the real call follows.
namespace seams {

extern std::function<std::optional<ssize_t>(int fd, const void* data, std::size_t size)> onWrite;
extern std::function<std::optional<int>(int fd)> onFsync;
extern std::function<std::optional<int>(const char* path, int flags)> onOpen;
extern std::function<std::optional<int>(const timespec* wanted)> onNanosleep;
extern std::function<std::optional<sighandler_t>(int number)> onSignal;
extern std::function<std::optional<int>(int number, bool sets)> onSigaction;
extern std::function<std::optional<FILE*>(const char* command)> onPopen;
extern std::function<std::optional<int>(int resource, const rlimit& limits)> onSetrlimit;
extern std::function<std::optional<void*>(std::size_t length, int flags)> onMmap;
/// Makes malloc() of exactly this size fail.
extern std::optional<std::size_t> failingMallocSize;

using test_support::ScopedSeam;

}  // namespace seams

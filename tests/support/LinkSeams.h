/// @file
/// Functions of the C library that a test can watch, answer or make fail.
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

/// A test program that names a function under WRAPPED (see hcrpt_test()) sends its calls here,
/// those of the code under test included. A seam that is set answers instead of the C library,
/// unless it gives std::nullopt: then the real call follows.
namespace seams {

template <typename Result, typename... Arguments>
using Seam = std::function<std::optional<Result>(Arguments...)>;

extern Seam<pid_t> onFork;
extern Seam<int, const char*, char* const*> onExecvp;
extern Seam<int, const char*, int> onOpen;  ///< path and flags
extern Seam<ssize_t, int, void*, std::size_t> onRead;
extern Seam<ssize_t, int, const void*, std::size_t> onWrite;
extern Seam<int, int> onFsync;
extern Seam<int, int> onClose;
extern Seam<int, int, int> onFlock;
extern Seam<pid_t, pid_t, int*, int> onWaitpid;
extern Seam<int, const char*, const char*> onRename;
extern Seam<int, const timespec*, timespec*> onNanosleep;
extern Seam<tm*, const std::time_t*, tm*> onLocaltime;
extern Seam<char*, const std::time_t*, char*> onCtime;
extern Seam<sighandler_t, int> onSignal;
extern Seam<int, int, bool> onSigaction;  ///< the number, and whether an action is set
extern Seam<FILE*, const char*> onPopen;
extern Seam<int, int, const rlimit&> onSetrlimit;
extern Seam<void*, std::size_t, int> onMmap;  ///< length and flags
/// Makes malloc() of exactly this size fail.
extern std::optional<std::size_t> failingMallocSize;

using test_support::ScopedSeam;

}  // namespace seams

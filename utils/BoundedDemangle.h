/// @file
/// The demangler, bounded in time and size.
#pragma once

#include <cstdlib>
#include <memory>

namespace hcrpt {

struct FreeDeleter {
    void operator()(char* text) const { std::free(text); }
};
using DemangledName = std::unique_ptr<char, FreeDeleter>;

/// Longer names are not demangled: the demangler's use of the stack grows with the name.
constexpr std::size_t kMaxMangledName = 32UL * 1024;  // bytes
/// Readable forms longer than that are not given.
constexpr std::size_t kMaxDemangledName = 1024UL * 1024;  // bytes

/// abi::__cxa_demangle(), which by itself may run forever: a name of 300 bytes in which each type
/// repeats the one before has a demangled form of 2^40 bytes, and some such names cost that much
/// time before the first byte of it.
///
/// A name that may expand by much is demangled in a forked child, which is ended once it has taken
/// 128 ms of processor time; that limit halves with each name given up, down to 8 ms, so that a
/// trace full of them does not hold its reader up for long either. Names that compilers make take
/// less than 1 ms. A child that ends for another reason, such as an overflow of its stack, costs
/// its name only. Grade: @crashtime, one thread at a time.
/// @return the demangled form; null when it is no mangled name, a bound is met or there is no
/// memory
///         or child.
DemangledName demangleName(const char* name);

}  // namespace hcrpt

/// @file
/// Trace lines without the dynamic linker.
#pragma once

#include <cstddef>
#include <cstdint>

namespace hcrpt {

/// Writes the line of one return address as backtrace_symbols_fd() does for a function without a
/// name: "module(+0xoffset)[0xaddress]". The module comes from /proc/self/maps, so neither the
/// loader's lock nor the heap is needed. An address in no module gives "[0xaddress]".
/// @signalsafe
void writeModuleLine(int fd, const void* address);

/// A part of the address space, as /proc/self/maps shows it.
struct MappedRange {
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
    bool isExecutable = false;
};

/// Finds the range that holds an address. @return false when there is none. @signalsafe
bool findMappedRange(std::uintptr_t address, MappedRange& range);

}  // namespace hcrpt

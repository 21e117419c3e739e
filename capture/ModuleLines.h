/// @file
/// Trace lines without the dynamic linker.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Writes the line of one return address as backtrace_symbols_fd() does for a function without a
/// name: "module(+0xoffset)[0xaddress]". The module comes from /proc/self/maps, so neither the
/// loader's lock nor the heap is needed. An address in no module gives "[0xaddress]".
/// @signalsafe
void writeModuleLine(int fd, const void* address);

}  // namespace hcrpt

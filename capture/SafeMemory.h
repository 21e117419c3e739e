/// @file
/// Memory that may not be there.
#pragma once

#include <cstddef>

namespace hcrpt {

/// Copies memory of this process, as far as it can be read from its start on, without a fault.
/// @return the number of bytes; -1 when the system lets nobody read so. @signalsafe
std::ptrdiff_t readReadable(const void* from, void* to, std::size_t size);

/// Copies memory of this process. @return false when not all of it can be read. @signalsafe
bool readMemory(const void* from, void* to, std::size_t size);

/// How many addresses canReadAll() takes.
constexpr std::size_t kMaxAddresses = 32;

/// Tells whether there is a byte at each of some addresses. @signalsafe
bool canReadAll(const char* const* addresses, std::size_t count);

}  // namespace hcrpt

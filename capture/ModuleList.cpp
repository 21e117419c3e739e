// Runs before the raw trace is safe: small frames, no heap, no stdio, no strings.
#include "capture/ModuleList.h"

#include <dlfcn.h>

namespace hcrpt {
namespace {

/// Where the module of an address starts in memory; null: no module.
const void* startOf(const void* address) {
    dl_find_object module = {};
    const bool isFound = _dl_find_object(const_cast<void*>(address), &module) == 0;
    return isFound ? module.dlfo_map_start : nullptr;
}

}  // namespace

bool ModuleList::add(const void* address) {
    const void* const start = startOf(address);
    if (start == nullptr || m_count == kMax) return false;
    m_starts[m_count++] = start;
    return true;
}

bool ModuleList::holds(const void* address) const {
    if (m_count == 0) return false;
    const void* const start = startOf(address);
    for (int i = 0; i < m_count; ++i)
        if (m_starts[i] == start) return true;
    return false;
}

}  // namespace hcrpt

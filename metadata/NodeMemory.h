/// @file
/// Where the nodes of a report lie.
#pragma once

#include <new>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"

namespace hcrpt {

// The arena hands out blocks without alignment, on purpose. x86-64 reads and writes members of up
// to 8 bytes at any address, and compilers use their aligned vector instructions only on types that
// ask for a wider alignment, which a node must therefore never do.
static_assert(alignof(HCrashRptMetaData::TableNode) <= 8, "a node must work at any address");

/// Constructs a node in the crash-time arena, where it stays until the process ends.
/// @return null when the arena is exhausted.
template <typename... Args>
HCrashRptMetaData::TableNode* newNode(const Args&... args) {
    void* block = HCrptResourceMgr::allocateMem(sizeof(HCrashRptMetaData::TableNode));
    return block == nullptr ? nullptr : new (block) HCrashRptMetaData::TableNode(args...);
}

}  // namespace hcrpt

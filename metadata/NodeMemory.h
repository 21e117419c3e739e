/// @file
/// Allocates the nodes of a report.
#pragma once

#include <new>

#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashRptMetaData.h"

namespace hcrpt {

// Contract: the arena's blocks are not aligned. x86-64 reads and writes members of up to 8 bytes at
// any address. Compilers use aligned vector instructions only for types with a wider alignment, so
// a node must never have one.
static_assert(alignof(HCrashRptMetaData::TableNode) <= 8, "a node must work at any address");

/// Constructs a node in the crash-time arena, where it stays until the process ends.
/// @return null when the arena is exhausted.
template <typename... Args>
HCrashRptMetaData::TableNode* newNode(const Args&... args) {
    void* block = HCrptResourceMgr::allocateMem(sizeof(HCrashRptMetaData::TableNode));
    return block == nullptr ? nullptr : new (block) HCrashRptMetaData::TableNode(args...);
}

}  // namespace hcrpt

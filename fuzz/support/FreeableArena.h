/// @file
/// The crash-time arena for targets that build many trees: the real one is never reset.
#pragma once

#include <cstddef>

namespace fuzz {

/// Replaces HCrptResourceMgr in a target that is linked with FreeableArena.cpp. Each block comes
/// from the heap, so that AddressSanitizer finds accesses beyond its ends.
class FreeableArena {
  public:
    /// The arena counts as exhausted after that number of blocks.
    explicit FreeableArena(std::size_t blocks);
    /// Destroys the nodes in the blocks and frees the blocks.
    ~FreeableArena();
    FreeableArena(const FreeableArena&) = delete;
    FreeableArena& operator=(const FreeableArena&) = delete;
};

}  // namespace fuzz

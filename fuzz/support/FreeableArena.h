/// @file
/// The crash-time arena for targets that build many trees: the real one is never reset.
#pragma once

#include <cstddef>

namespace fuzz {

/// Stands in for HCrptResourceMgr where a target is linked with FreeableArena.cpp. Each block is
/// one of the heap, so that AddressSanitizer sees its borders.
class FreeableArena {
  public:
    /// So many more blocks are handed out; then the arena counts as exhausted.
    explicit FreeableArena(std::size_t blocks);
    /// Destroys the nodes in the blocks and gives the blocks back.
    ~FreeableArena();
    FreeableArena(const FreeableArena&) = delete;
    FreeableArena& operator=(const FreeableArena&) = delete;
};

}  // namespace fuzz

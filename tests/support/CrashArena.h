/// @file
/// The crash-time arena, nearly full.
#pragma once

#include <gtest/gtest.h>

#include "hcrpt/HCrashCapture.h"

namespace test_support {

/// Takes all of the arena but so many bytes. Needs a process that has taken nothing yet, which
/// CTest gives each case.
inline void leaveInArena(std::size_t bytes) {
    constexpr std::size_t kArenaSize = 50000;
    ASSERT_NE(nullptr, HCrptResourceMgr::get()->allocateMem(kArenaSize - bytes))
        << "run this case in a process of its own";
}

}  // namespace test_support

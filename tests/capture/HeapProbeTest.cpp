// What a failing heap does to a whole process is looked at in tests/crash.
#include <gtest/gtest.h>
#include <malloc.h>

#include "capture/HeapProbe.h"

namespace {

TEST(HeapProbeTest, AHeapInOrderAnswersEachTime) {
    EXPECT_TRUE(hcrpt::heapIsUsable());
    EXPECT_TRUE(hcrpt::heapIsUsable());
}

#ifndef HCRPT_SANITIZE  // which has an allocator of its own
TEST(HeapProbeTest, ATrialLeavesNoMemoryTaken) {
    hcrpt::heapIsUsable();
    const auto before = mallinfo2().uordblks;
    hcrpt::heapIsUsable();
    EXPECT_EQ(before, mallinfo2().uordblks);
}
#endif

}  // namespace

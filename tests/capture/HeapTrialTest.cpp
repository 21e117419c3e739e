// What a failing heap does to a whole process is looked at in tests/crash.
#include <gtest/gtest.h>
#include <malloc.h>

#include "capture/HeapTrial.h"

namespace {

TEST(HeapTrialTest, AHeapInOrderAnswersEachTime) {
    EXPECT_TRUE(hcrpt::heapAnswers());
    EXPECT_TRUE(hcrpt::heapAnswers());
}

#ifndef HCRPT_SANITIZE  // which has an allocator of its own
TEST(HeapTrialTest, ATrialLeavesNoMemoryTaken) {
    hcrpt::heapAnswers();
    const auto before = mallinfo2().uordblks;
    hcrpt::heapAnswers();
    EXPECT_EQ(before, mallinfo2().uordblks);
}
#endif

}  // namespace

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <vector>

#include "capture/FrameChain.h"
#include "capture/ModuleLines.h"
#include "capture/ModuleList.h"

using hcrpt::FrameChain;

namespace {

void* address(std::uintptr_t value) {
    return reinterpret_cast<void*>(value);
}

using Addresses = std::vector<std::uintptr_t>;

/// What a backtrace becomes when the chain 101, 102 is put in behind the handler's caller, 1.
Addresses withChain(const Addresses& backtrace, bool hasCaller, int most) {
    FrameChain chain;
    chain.interruption.handlersCaller = address(1);
    chain.frames[0] = address(101);
    chain.frames[1] = address(102);
    chain.count = 2;
    chain.caller = hasCaller ? address(50) : nullptr;
    void* frames[20] = {};
    for (std::size_t i = 0; i < backtrace.size(); ++i) frames[i] = address(backtrace[i]);
    const int count = hcrpt::insertChain(chain, frames, static_cast<int>(backtrace.size()), most);
    Addresses all;
    for (int i = 0; i < count; ++i) all.push_back(reinterpret_cast<std::uintptr_t>(frames[i]));
    return all;
}

TEST(FrameChainTest, ItsFramesStandBetweenTheHandlersCallerAndTheKnownCaller) {
    EXPECT_EQ((Addresses{7, 1, 101, 102, 50, 60}), withChain({7, 1, 50, 60}, true, 20));
}

TEST(FrameChainTest, WithoutAKnownCallerItEndsTheTrace) {
    EXPECT_EQ((Addresses{7, 1, 101, 102}), withChain({7, 1, 101}, false, 20));
}

TEST(FrameChainTest, TheOutermostFramesGiveWay) {
    EXPECT_EQ((Addresses{7, 1, 101, 102, 50}), withChain({7, 1, 50, 60}, true, 5));
    EXPECT_EQ((Addresses{7, 1, 101}), withChain({7, 1, 50, 60}, true, 3));
}

TEST(FrameChainTest, ABacktraceWithoutAHandlerStaysAsItIs) {
    EXPECT_EQ((Addresses{7, 50}), withChain({7, 50}, true, 20));
}

TEST(FrameChainTest, AnEmptyChainChangesNothing) {
    void* frame = address(1);
    EXPECT_EQ(1, hcrpt::insertChain(FrameChain(), &frame, 1, 20));
}

// --- What tells where code and stacks are -------------------------------------------------------

TEST(MappedRangeTest, CodeIsExecutableAndAStackIsNot) {
    hcrpt::MappedRange range;
    const auto code = reinterpret_cast<std::uintptr_t>(&withChain);
    ASSERT_TRUE(hcrpt::findMappedRange(code, range));
    EXPECT_TRUE(range.isExecutable && range.start <= code && code < range.end);
    const auto stack = reinterpret_cast<std::uintptr_t>(&range);
    ASSERT_TRUE(hcrpt::findMappedRange(stack, range));
    EXPECT_TRUE(!range.isExecutable && range.start <= stack && stack < range.end);
    EXPECT_FALSE(hcrpt::findMappedRange(0x1000, range));
}

TEST(ModuleListTest, HoldsAllAddressesOfTheModulesThatWereAdded) {
    hcrpt::ModuleList modules;
    const void* const own = reinterpret_cast<const void*>(&withChain);
    const void* const other = reinterpret_cast<const void*>(&hcrpt::findMappedRange);
    EXPECT_FALSE(modules.holds(own));
    EXPECT_FALSE(modules.add(address(0x12345678000)));
    EXPECT_TRUE(modules.add(own));
    EXPECT_TRUE(modules.holds(other)) << "linked into the same program";
    EXPECT_FALSE(modules.holds(reinterpret_cast<const void*>(&std::terminate)));
    EXPECT_FALSE(modules.holds(address(0x12345678000)));
}

}  // namespace

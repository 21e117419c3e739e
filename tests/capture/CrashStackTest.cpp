// Where the code under test runs shows by the address of its frame. Each case needs a process that
// has reserved nothing yet, which CTest gives it.
#include <execinfo.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "capture/CrashStack.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"

namespace CrashStack = hcrpt::CrashStack;

namespace {

using Address = std::uintptr_t;

#define FRAME_ADDRESS() reinterpret_cast<Address>(__builtin_frame_address(0))

void noteFrame(void* into) noexcept {
    *static_cast<Address*>(into) = FRAME_ADDRESS();
}

Address frameOfRun() {
    Address frame = 0;
    CrashStack::run(&noteFrame, &frame);
    return frame;
}

Address distance(Address a, Address b) {
    return a > b ? a - b : b - a;
}

constexpr Address kNear = 4096;  // bytes; two frames of one stack, a few calls apart

TEST(CrashStackTest, WithoutAReservedStackTheBodyRunsInPlace) {
    EXPECT_LT(distance(FRAME_ADDRESS(), frameOfRun()), kNear);
}

TEST(CrashStackTest, TheBodyRunsOnTheReservedStack) {
    ASSERT_TRUE(CrashStack::reserve());
    EXPECT_GT(distance(FRAME_ADDRESS(), frameOfRun()), CrashStack::kSize);
}

TEST(CrashStackTest, TheHandlerReservesIt) {
    HCrashReporter::HCrptLinuxExceptionHandler handler;
    EXPECT_GT(distance(FRAME_ADDRESS(), frameOfRun()), CrashStack::kSize);
}

TEST(CrashStackTest, TheBodyStartsAtTheTopOfAdoptedMemory) {
    std::vector<char> memory(64 * 1024);
    CrashStack::adopt(memory.data(), memory.size());
    const Address top = reinterpret_cast<Address>(memory.data() + memory.size());
    const Address frame = frameOfRun();
    EXPECT_LT(frame, top);
    EXPECT_LT(top - frame, 64U);
}

TEST(CrashStackTest, TheStackIsAlignedAsCallsNeedIt) {
    static char memory[64 * 1024];
    for (std::size_t less = 0; less < 16; ++less) {
        CrashStack::adopt(memory, sizeof memory - less);
        const Address frame = frameOfRun();  // a frame pointer, right above the pushed one
        EXPECT_EQ(0U, frame % 16) << less;
        EXPECT_LT(frame, reinterpret_cast<Address>(memory + sizeof memory - less)) << less;
    }
}

TEST(CrashStackTest, ItComesBackAndCanBeUsedAgain) {
    ASSERT_TRUE(CrashStack::reserve());
    const Address before = FRAME_ADDRESS();
    const Address first = frameOfRun();
    EXPECT_EQ(before, FRAME_ADDRESS());
    EXPECT_EQ(first, frameOfRun());
}

TEST(CrashStackTest, LaterReservationsChangeNothing) {
    ASSERT_TRUE(CrashStack::reserve());
    const Address first = frameOfRun();
    EXPECT_TRUE(CrashStack::reserve());
    EXPECT_EQ(first, frameOfRun());
}

struct Nested {
    Address outer = 0;
    Address inner = 0;
    Address afterwards = 0;
};

void runNested(void* argument) noexcept {
    Nested& nested = *static_cast<Nested*>(argument);
    nested.outer = FRAME_ADDRESS();
    CrashStack::run(&noteFrame, &nested.inner);
    CrashStack::run(&noteFrame, &nested.afterwards);
    asm volatile("");  // keeps the call from becoming a jump
}

TEST(CrashStackTest, ANestedRunStaysOnTheStackBelowTheOuterOne) {
    ASSERT_TRUE(CrashStack::reserve());
    Nested nested;
    CrashStack::run(&runNested, &nested);
    EXPECT_LT(nested.inner, nested.outer);
    EXPECT_LT(nested.outer - nested.inner, kNear);
    EXPECT_LT(nested.afterwards, nested.outer);
    EXPECT_LT(nested.outer - nested.afterwards, kNear);
    EXPECT_EQ(nested.outer, frameOfRun());
}

// A fault on that stack interrupts what must still be shown.
TEST(CrashStackTest, AnEntryFromTheStackItselfStaysBelow) {
    ASSERT_TRUE(CrashStack::reserve());
    Nested nested;
    const auto enterNested = [](void* argument) noexcept {
        auto& frames = *static_cast<Nested*>(argument);
        frames.outer = FRAME_ADDRESS();
        CrashStack::enter(&noteFrame, &frames.inner);
        asm volatile("");
    };
    CrashStack::run(enterNested, &nested);
    EXPECT_LT(nested.inner, nested.outer);
    EXPECT_LT(nested.outer - nested.inner, kNear);
}

TEST(CrashStackTest, OneThreadUsesItAtATime) {
    ASSERT_TRUE(CrashStack::reserve());
    Nested nested;
    const auto runOnThread = [](void* argument) noexcept {
        auto& frames = *static_cast<Nested*>(argument);
        frames.outer = FRAME_ADDRESS();
        std::thread([&] { frames.inner = frameOfRun(); }).join();
    };
    CrashStack::run(runOnThread, &nested);
    EXPECT_GT(distance(nested.outer, nested.inner), kNear);
}

// The process may be a copy of one in which another thread used it.
TEST(CrashStackTest, TheThreadThatEntersItHasItWhoeverUsedItBefore) {
    ASSERT_TRUE(CrashStack::reserve());
    Nested nested;
    const auto enterOnThread = [](void* argument) noexcept {
        auto& frames = *static_cast<Nested*>(argument);
        frames.outer = FRAME_ADDRESS();
        // The copy has the one thread that made it.
        test_support::ChildProcess copy = test_support::ChildProcess::fork([&frames] {
            Address inner = 0;
            std::thread([&inner] { CrashStack::enter(&noteFrame, &inner); }).join();
            return distance(frames.outer, inner) < kNear ? 0 : 1;
        });
        frames.afterwards = copy.wait() == test_support::exitedWith(0) ? 1 : 0;
    };
    CrashStack::run(enterOnThread, &nested);
    EXPECT_EQ(1U, nested.afterwards);
}

struct Mapping {
    Address start = 0;
    Address end = 0;
    std::string rights;
};

std::vector<Mapping> mappings() {
    std::vector<Mapping> result;
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        const std::size_t dash = line.find('-');
        const std::size_t blank = line.find(' ');
        result.push_back({std::stoull(line.substr(0, dash), nullptr, 16),
                          std::stoull(line.substr(dash + 1, blank - dash - 1), nullptr, 16),
                          line.substr(blank + 1, 4)});
    }
    return result;
}

TEST(CrashStackTest, APageBeneathItCannotBeTouched) {
    ASSERT_TRUE(CrashStack::reserve());
    const Address frame = frameOfRun();
    Mapping below;
    bool found = false;
    for (const Mapping& mapping : mappings()) {
        if (mapping.start <= frame && frame < mapping.end) {
            found = true;
            EXPECT_LE(mapping.start, frame - CrashStack::kSize + kNear) << "smaller than promised";
            EXPECT_EQ(mapping.start, below.end) << "nothing right beneath the stack";
            EXPECT_EQ("---p", below.rights);
            EXPECT_GE(below.end - below.start, static_cast<Address>(sysconf(_SC_PAGESIZE)));
        }
        below = mapping;
    }
    EXPECT_TRUE(found);
}

void throwAndCatch(void* caught) noexcept {
    try {
        throw std::runtime_error("within");
    } catch (const std::runtime_error&) {
        *static_cast<bool*>(caught) = true;
    }
}

TEST(CrashStackTest, ExceptionsWithinTheBodyWork) {
    ASSERT_TRUE(CrashStack::reserve());
    bool caught = false;
    CrashStack::run(&throwAndCatch, &caught);
    EXPECT_TRUE(caught);
}

}  // namespace

// Outside the unnamed namespace: it must show by name in a trace.
std::string s_traceOfBody;

void noteTrace(void*) noexcept {
    void* frames[50];
    const int count = backtrace(frames, 50);
    char** const lines = backtrace_symbols(frames, count);
    for (int i = 0; i < count; ++i) s_traceOfBody += std::string(lines[i]) + "\n";
    std::free(lines);
}

[[gnu::noinline]] void callerOfTheCrashStack() {
    CrashStack::run(&noteTrace, nullptr);
    asm volatile("");  // keeps the call from becoming a jump
}

TEST(CrashStackTest, ATraceWalksBackOntoTheStackOfTheCaller) {
    ASSERT_TRUE(CrashStack::reserve());
    callerOfTheCrashStack();
    EXPECT_NE(std::string::npos, s_traceOfBody.find("callerOfTheCrashStack")) << s_traceOfBody;
}

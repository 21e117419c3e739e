// Every case needs memory that nobody has taken from yet; CTest runs each in a process of its own.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "capture/CrashScene.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"

using namespace test_support;

namespace {

char* allocate(std::size_t size) {
    return static_cast<char*>(HCrptResourceMgr::allocateMem(size));
}

// --- Arena --------------------------------------------------------------------------------------

TEST(HCrptResourceMgrTest, FullArenaReturnsNull) {
    ASSERT_NE(nullptr, allocate(50000));
    EXPECT_EQ(nullptr, allocate(1));
}

TEST(HCrptResourceMgrTest, ZeroBytesAlwaysSucceedAndReturnTheCurrentEnd) {
    char* const start = allocate(0);
    ASSERT_NE(nullptr, start);
    EXPECT_EQ(start, allocate(10));
    EXPECT_EQ(start + 10, allocate(0));
    EXPECT_EQ(start + 10, allocate(0));
    EXPECT_EQ(start + 10, allocate(49990));
    EXPECT_EQ(nullptr, allocate(1));
    EXPECT_EQ(start + 50000, allocate(0));
}

TEST(HCrptResourceMgrTest, BlocksFollowEachOtherByteExactly) {
    char* const first = allocate(1);
    EXPECT_EQ(first + 1, allocate(3));
    EXPECT_EQ(first + 4, allocate(7));
    EXPECT_EQ(first + 11, allocate(8));
    EXPECT_EQ(first + 19, allocate(0));
}

TEST(HCrptResourceMgrTest, ARequestThatDoesNotFitConsumesNothing) {
    char* const start = allocate(0);
    EXPECT_EQ(nullptr, allocate(50001));
    EXPECT_EQ(start, allocate(49999));
    EXPECT_EQ(nullptr, allocate(2));
    EXPECT_EQ(start + 49999, allocate(1));
}

TEST(HCrptResourceMgrTest, AHugeRequestDoesNotWrapAround) {
    char* const start = allocate(8);
    for (std::size_t less = 0; less <= 16; ++less)
        EXPECT_EQ(nullptr, allocate(SIZE_MAX - less)) << less;
    EXPECT_EQ(start + 8, allocate(0));
}

TEST(HCrptResourceMgrTest, ArenaIsZeroFilled) {
    const char* const arena = allocate(50000);
    EXPECT_EQ(50000, std::count(arena, arena + 50000, '\0'));
}

TEST(HCrptResourceMgrTest, AllocatingMakesTheResources) {
    EXPECT_EQ("", HCrptResourceMgr::getStacktraceLogPath());
    ASSERT_NE(nullptr, allocate(1));
    EXPECT_NE("", HCrptResourceMgr::getStacktraceLogPath());
}

TEST(HCrptResourceMgrTest, ThereIsOneInstance) {
    EXPECT_EQ(HCrptResourceMgr::get(), HCrptResourceMgr::get());
}

/// Holds up the first that asks for the process id, which is while the resources are made.
class SlowPlatform : public test_support::ScopedFakePlatform {
  public:
    int pid() override {
        if (++asked == 1) std::this_thread::sleep_for(std::chrono::milliseconds(200));
        return ScopedFakePlatform::pid();
    }
    std::atomic<int> asked{0};
};

TEST(HCrptResourceMgrTest, OfTwoThreadsThatAskAtOnceOneMakesThemAndTheOtherWaits) {
    SlowPlatform platform;
    std::thread first([] { HCrptResourceMgr::get(); });
    while (platform.asked == 0) std::this_thread::yield();
    HCrptResourceMgr::get();
    EXPECT_NE("", HCrptResourceMgr::getStacktraceTempFilePath()) << "half made";
    first.join();
    EXPECT_EQ(1, platform.asked);
}

// --- Scratch buffers ----------------------------------------------------------------------------

struct ScratchBuffer {
    char* (*take)();
    void (*release)();
};

constexpr ScratchBuffer kScratchBuffers[] = {
    {&HCrptResourceMgr::getScratchBuffer1, &HCrptResourceMgr::releaseScratchBuffer1},
    {&HCrptResourceMgr::getScratchBuffer2, &HCrptResourceMgr::releaseScratchBuffer2},
};

TEST(HCrptResourceMgrTest, ATakenScratchBufferIsNotGivenAgainUntilItIsReleased) {
    HCrptResourceMgr::get();
    for (const ScratchBuffer& buffer : kScratchBuffers) {
        char* const taken = buffer.take();
        ASSERT_NE(nullptr, taken);
        EXPECT_EQ(nullptr, buffer.take());
        EXPECT_EQ(nullptr, buffer.take());
        buffer.release();
        EXPECT_EQ(taken, buffer.take());
        EXPECT_EQ(nullptr, buffer.take());
    }
}

TEST(HCrptResourceMgrTest, ScratchBuffersAreTakenAndReleasedApartFromEachOther) {
    HCrptResourceMgr::get();
    char* const first = HCrptResourceMgr::getScratchBuffer1();
    char* const second = HCrptResourceMgr::getScratchBuffer2();
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first, second);
    HCrptResourceMgr::releaseScratchBuffer2();
    EXPECT_EQ(nullptr, HCrptResourceMgr::getScratchBuffer1());
    EXPECT_EQ(second, HCrptResourceMgr::getScratchBuffer2());
    HCrptResourceMgr::releaseScratchBuffer1();
    EXPECT_EQ(nullptr, HCrptResourceMgr::getScratchBuffer2());
    EXPECT_EQ(first, HCrptResourceMgr::getScratchBuffer1());
}

TEST(HCrptResourceMgrTest, ReleasingWithoutTakingLeavesItFree) {
    HCrptResourceMgr::get();
    for (const ScratchBuffer& buffer : kScratchBuffers) {
        buffer.release();
        EXPECT_NE(nullptr, buffer.take());
        EXPECT_EQ(nullptr, buffer.take());
    }
}

TEST(HCrptResourceMgrTest, AScratchBufferAskedForBeforeTheResourcesExistIsNullAndCountsAsTaken) {
    for (const ScratchBuffer& buffer : kScratchBuffers) EXPECT_EQ(nullptr, buffer.take());
    HCrptResourceMgr::get();
    for (const ScratchBuffer& buffer : kScratchBuffers) {
        EXPECT_EQ(nullptr, buffer.take());
        buffer.release();
        EXPECT_NE(nullptr, buffer.take());
    }
}

TEST(HCrptResourceMgrTest, ScratchBuffersHoldTenThousandZeroes) {
    EXPECT_EQ(10000U, HCrptResourceMgr::getScratchSize());
    HCrptResourceMgr::get();
    for (const ScratchBuffer& buffer : kScratchBuffers) {
        char* const bytes = buffer.take();
        ASSERT_NE(nullptr, bytes);
        EXPECT_EQ(10000, std::count(bytes, bytes + 10000, '\0'));
        std::memset(bytes, 'x', 10000);
    }
}

// --- Paths --------------------------------------------------------------------------------------

TEST(HCrptResourceMgrTest, PathsAreEmptyUntilTheResourcesAreMade) {
    EXPECT_EQ("", HCrptResourceMgr::getStacktraceLogPath());
    EXPECT_EQ("", HCrptResourceMgr::getStacktraceTempFilePath());
}

TEST(HCrptResourceMgrTest, PathsCarryTheConstructingProcessId) {
    const CrashScene scene;
    HCrptResourceMgr::get();
    EXPECT_EQ(scene.stackTraceLog(), HCrptResourceMgr::getStacktraceLogPath());
    EXPECT_EQ(scene.rawTrace(), HCrptResourceMgr::getStacktraceTempFilePath());
}

TEST(HCrptResourceMgrTest, AChangedEnvironmentDoesNotChangeThePaths) {
    CrashScene scene;
    HCrptResourceMgr::get();
    const test_support::ScopedEnvVar session("ZEB_SESSION_INFO", "/elsewhere:other");
    scene.platform.fakePid = 77;
    scene.platform.fakeWorkingDirectory = "/elsewhere";
    HCrptResourceMgr::get();
    EXPECT_EQ(scene.stackTraceLog(), HCrptResourceMgr::getStacktraceLogPath());
    EXPECT_EQ(scene.rawTrace(), HCrptResourceMgr::getStacktraceTempFilePath());
}

TEST(HCrptResourceMgrTest, AForkedChildKeepsItsParentsPaths) {
    CrashScene scene;
    scene.platform.fakePid.reset();
    HCrptResourceMgr::get();
    const std::string log = HCrptResourceMgr::getStacktraceLogPath();
    const std::string rawTrace = HCrptResourceMgr::getStacktraceTempFilePath();
    EXPECT_NE(std::string::npos, log.find("hs_err_pid" + std::to_string(getpid()) + ".log"));
    ChildProcess child = ChildProcess::fork([&] {
        HCrptResourceMgr::get();
        return log == HCrptResourceMgr::getStacktraceLogPath() &&
                       rawTrace == HCrptResourceMgr::getStacktraceTempFilePath()
                   ? 0
                   : 1;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

TEST(HCrptResourceMgrTest, AFurtherInstanceAppendsItsPathsOnPurpose) {
    const CrashScene scene;
    ChildProcess child = ChildProcess::fork([&] {
        HCrptResourceMgr::get();
        const HCrptResourceMgr further;
        if (HCrptResourceMgr::getStacktraceLogPath() !=
            scene.stackTraceLog() + scene.stackTraceLog())
            return 1;
        return HCrptResourceMgr::getStacktraceTempFilePath() == scene.rawTrace() + scene.rawTrace()
                   ? 0
                   : 2;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

// --- After the destructor -----------------------------------------------------------------------

char* s_arenaBeforeExit = nullptr;
std::string* s_logBeforeExit = nullptr;

/// Runs after the instance's destructor. Its result is the number of the check that failed.
int checkAfterDestructor() {
    if (!HCrptResourceMgr::isReleased()) return 1;
    char* const block = allocate(100);
    if (block == nullptr) return 2;
    if (block >= s_arenaBeforeExit && block < s_arenaBeforeExit + 50000) return 3;
    std::memset(block, 'x', 100);
    if (allocate(0) != block + 100) return 4;
    if (HCrptResourceMgr::getScratchBuffer1() != nullptr) return 5;
    if (HCrptResourceMgr::getScratchBuffer2() != nullptr) return 6;
    if (HCrptResourceMgr::getStacktraceLogPath() != *s_logBeforeExit) return 7;
    if (allocate(50000) != nullptr) return 8;
    return 0;
}

TEST(HCrptResourceMgrTest, AfterItsDestructorBlocksComeFromASpareArena) {
    ChildProcess child = ChildProcess::fork([]() -> int {
        // Registered before the instance is made, so it runs after the instance is gone.
        std::atexit([] { _exit(checkAfterDestructor()); });
        s_arenaBeforeExit = allocate(0);
        s_logBeforeExit = new std::string(HCrptResourceMgr::getStacktraceLogPath());
        if (HCrptResourceMgr::isReleased()) _exit(10);
        std::exit(11);
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

#ifndef HCRPT_SANITIZE  // whose heap keeps no such books
TEST(HCrptResourceMgrTest, ItsDestructorGivesArenaAndScratchBuffersBack) {
    ChildProcess child = ChildProcess::fork([] {
        constexpr std::size_t kAll = 50000 + 2 * 10000;
        constexpr std::size_t kPaths = 5000;  // these stay
        const std::size_t before = mallinfo2().uordblks;
        {
            const HCrptResourceMgr instance;
            if (mallinfo2().uordblks < before + kAll) return 1;
        }
        return mallinfo2().uordblks < before + kPaths ? 0 : 2;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}
#endif

TEST(HCrptResourceMgrTest, NothingIsReleasedWhileTheProcessRuns) {
    EXPECT_FALSE(HCrptResourceMgr::isReleased());
    HCrptResourceMgr::get();
    EXPECT_FALSE(HCrptResourceMgr::isReleased());
}

// --- Line reader --------------------------------------------------------------------------------

struct LineCase {
    const char* name;
    std::string source;
    std::size_t last;
    std::size_t cap;
    std::size_t offset;
    bool skip;
    std::string wantLine;  // in skip mode: what dest held before
    std::size_t wantOffset;
};

void PrintTo(const LineCase& row, std::ostream* out) {
    *out << row.name;
}

class LineReaderTest : public testing::TestWithParam<LineCase> {};

const std::string kUntouched = "untouched";

TEST_P(LineReaderTest, ReadsAsTheTableSays) {
    const LineCase& row = GetParam();
    // Exactly as large as promised, so that a sanitizer sees every byte beyond.
    std::string source = row.source;
    std::vector<char> dest(std::max(row.cap + 1, kUntouched.size() + 1), '#');
    std::copy(kUntouched.begin(), kUntouched.end(), dest.begin());
    dest[kUntouched.size()] = '\0';
    std::size_t offset = row.offset;
    EXPECT_EQ(dest.data(), HCrptResourceMgr::getNextLineFromBuffer(
                               source.data(), row.last, dest.data(), row.cap, offset, row.skip));
    EXPECT_EQ(row.wantLine, std::string(dest.data()));
    EXPECT_EQ(row.wantOffset, offset);
}

INSTANTIATE_TEST_SUITE_P(
    Table, LineReaderTest,
    testing::Values(
        LineCase{"LineFeedIsKept", "ab\ncd", 4, 100, 0, false, "ab\n", 3},
        LineCase{"NothingBehindTheLineFeedIsRead", "a\nbcdefgh\n", 9, 100, 0, false, "a\n", 2},
        LineCase{"LastLineWithoutLineFeedLeavesTheOffset", "ab\ncd", 4, 100, 3, false, "cd", 3},
        LineCase{"LastIndexIsInclusive", "ab\ncd\n", 5, 100, 3, false, "cd\n", 6},
        LineCase{"LastIndexCutsTheLine", "ab\ncd\n", 4, 100, 3, false, "cd", 3},
        LineCase{"OneReadableByte", "x", 0, 100, 0, false, "x", 0},
        LineCase{"OneReadableLineFeed", "\n", 0, 100, 0, false, "\n", 1},
        LineCase{"FirstPieceOfALongLine", "abcdefg\n", 7, 3, 0, false, "abc", 3},
        LineCase{"SecondPieceOfALongLine", "abcdefg\n", 7, 3, 3, false, "def", 6},
        LineCase{"LastPieceOfALongLine", "abcdefg\n", 7, 3, 6, false, "g\n", 8},
        LineCase{"LineFeedAsTheLastByteOfCap", "ab\ncd", 4, 3, 0, false, "ab\n", 3},
        LineCase{"LineFeedRightAfterCap", "abc\nd", 4, 3, 0, false, "abc", 3},
        LineCase{"CapOfOne", "ab", 1, 1, 0, false, "a", 1},
        LineCase{"EndBeatsCap", "abc", 2, 3, 0, false, "abc", 0},
        LineCase{"EndBeatsCapInTheMiddle", "ab\ncde", 5, 3, 3, false, "cde", 3},
        LineCase{"OffsetBeyondLastEmptiesDest", "ab\n", 2, 100, 3, false, "", 3},
        LineCase{"OffsetFarBeyondLast", "ab\n", 2, 100, 99, false, "", 99},
        LineCase{"OffsetBeyondLastInSkipMode", "ab\n", 2, 100, 3, true, kUntouched, 3},
        LineCase{"OffsetAtLastIsRead", "ab\nc", 3, 100, 3, false, "c", 3},
        LineCase{"CapOfZeroEmptiesDest", "ab\n", 2, 0, 0, false, "", 0},
        LineCase{"CapOfZeroBeatsSkipMode", "ab\n", 2, 0, 0, true, kUntouched, 0},
        LineCase{"SkipModeStopsAfterTheLineFeed", "ab\ncd\n", 5, 100, 1, true, kUntouched, 3},
        LineCase{"SkipModeIgnoresCap", "abcdef\ng", 7, 2, 0, true, kUntouched, 7},
        LineCase{"SkipModeFindsALineFeedAtLast", "abc\n", 3, 100, 0, true, kUntouched, 4},
        LineCase{"SkipModeWithoutLineFeedLeavesTheOffset", "abc", 2, 100, 1, true, kUntouched, 1},
        LineCase{"SkipModeDoesNotLookBeyondLast", "abc\n", 2, 100, 1, true, kUntouched, 1}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(LineReaderTest, APieceIsTerminatedAtCapAndNothingBeyondIsTouched) {
    char source[] = "abcdef";
    char dest[] = "##########";
    std::size_t offset = 0;
    HCrptResourceMgr::getNextLineFromBuffer(source, 5, dest, 4, offset, false);
    EXPECT_EQ(std::string("abcd\0#####", 10), std::string(dest, 10));
}

}  // namespace

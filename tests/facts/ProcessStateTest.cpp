#include <gtest/gtest.h>
#include <unistd.h>

#include "facts/ProcessState.h"
#include "support/ChildProcess.h"

namespace {

using hcrpt::parseProcessState;
using hcrpt::processState;
using hcrpt::wallClockStart;
using namespace test_support;

std::string stat(const std::string& name, const std::string& state, const std::string& threads) {
    return "17 (" + name + ") " + state + " 1 17 17 0 -1 4194560 1 2 3 4 5 6 7 8 20 0 " + threads +
           " 0 98765 1000 200 18446744073709551615\n";
}

TEST(ProcessStateTest, StartTimeIsTheTwentySecondField) {
    EXPECT_EQ(parseProcessState(stat("sh", "S", "1"))->startTime, "98765");
}

TEST(ProcessStateTest, AProgramsNameMayHoldBlanksAndParentheses) {
    const auto state = parseProcessState(stat("a) Z (b", "R", "1"));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->startTime, "98765");
    EXPECT_FALSE(state->isOver);
}

TEST(ProcessStateTest, AZombieIsOverUnlessThreadsOfItRun) {
    EXPECT_TRUE(parseProcessState(stat("sh", "Z", "1"))->isOver);
    EXPECT_TRUE(parseProcessState(stat("sh", "X", "0"))->isOver);
    EXPECT_FALSE(parseProcessState(stat("sh", "Z", "2"))->isOver);
    EXPECT_FALSE(parseProcessState(stat("sh", "Z", "?"))->isOver);
    EXPECT_FALSE(parseProcessState(stat("sh", "T", "1"))->isOver);
}

TEST(ProcessStateTest, AnIncompleteTextIsNoState) {
    EXPECT_FALSE(parseProcessState(""));
    EXPECT_FALSE(parseProcessState("17 (sh) S 1 17"));
    EXPECT_FALSE(parseProcessState("no name at all"));
}

TEST(ProcessStateTest, AProcessThatIsNotThereHasNone) {
    EXPECT_FALSE(processState("4194305"));
}

TEST(ProcessStateTest, AProcessThatHasEndedIsOverWhileItWaitsToBeReaped) {
    ChildProcess child = ChildProcess::fork([] { return 0; });
    const std::string pid = std::to_string(child.pid());
    EXPECT_TRUE(eventually([&] { return processState(pid)->isOver; }));
}

TEST(ProcessStateTest, StartTimeTellsWhenAProcessWasStarted) {
    const std::time_t before = std::time(nullptr);
    ChildProcess child = ChildProcess::exec({"sleep", "60"});
    const auto start = wallClockStart(processState(std::to_string(child.pid()))->startTime);
    ASSERT_TRUE(start);
    EXPECT_GE(start->tv_sec, before - 1);
    EXPECT_LE(start->tv_sec, std::time(nullptr) + 1);
    EXPECT_GE(start->tv_nsec, 0);
    EXPECT_LT(start->tv_nsec, 1000000000);
}

TEST(ProcessStateTest, FractionsOfSecondsAddUpToWholeOnes) {
    // Among the hundredths of two seconds are some that lead over the end of a second.
    for (int ticks = 0; ticks < 200; ++ticks) {
        const auto first = wallClockStart("0");
        const auto start = wallClockStart(std::to_string(ticks));
        ASSERT_TRUE(first && start);
        EXPECT_GE(start->tv_nsec, 0) << ticks;
        EXPECT_LT(start->tv_nsec, 1000000000) << ticks;
        EXPECT_GE(start->tv_sec, first->tv_sec - 1) << ticks;
    }
}

TEST(ProcessStateTest, ATextThatIsNoNumberIsNoTime) {
    EXPECT_FALSE(wallClockStart(""));
    EXPECT_FALSE(wallClockStart("12x"));
    EXPECT_FALSE(wallClockStart("99999999999999999999"));
}

}  // namespace

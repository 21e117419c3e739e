#include <gtest/gtest.h>

#include "crash_reporter/PassSchedule.h"

namespace {

using crash_reporter::BackOff;
using crash_reporter::Clock;
using crash_reporter::PassSchedule;
using crash_reporter::Time;
using std::chrono::seconds;

TEST(BackOffTest, PausesDoubleUpToTheLongestAndBeginAgain) {
    BackOff pauses{seconds(1), seconds(6)};
    for (const int expected : {1, 2, 4, 6, 6}) EXPECT_EQ(pauses.next(), seconds(expected));
    pauses.reset();
    EXPECT_EQ(pauses.next(), seconds(1));
}

class PassScheduleTest : public testing::Test {
  protected:
    PassSchedule schedule;
    Time now = Clock::now();
};

TEST_F(PassScheduleTest, NothingIsDueWithoutReports) {
    EXPECT_FALSE(schedule.isDue({}, now));
}

TEST_F(PassScheduleTest, WhatAPassThatGotSomewhereHasLeftIsDueAtOnce) {
    EXPECT_TRUE(schedule.isDue({"a", "b"}, now));
    schedule.begun({"a", "b"});
    EXPECT_FALSE(schedule.ended({"b"}, false, now));
    EXPECT_TRUE(schedule.isDue({"b"}, now));
    EXPECT_FALSE(schedule.nextTry());
}

TEST_F(PassScheduleTest, AfterAPassThatGotNowherePausesGrowUpToAMinute) {
    for (const int pause : {1, 2, 4, 8, 16, 32, 60, 60}) {
        ASSERT_TRUE(schedule.isDue({"a"}, now));
        schedule.begun({"a"});
        EXPECT_EQ(schedule.ended({"a"}, false, now), pause == 1) << "to be told once";
        ASSERT_TRUE(schedule.nextTry());
        EXPECT_EQ(*schedule.nextTry(), now + seconds(pause));
        EXPECT_FALSE(schedule.isDue({"a"}, *schedule.nextTry() - std::chrono::milliseconds(500)));
        now = *schedule.nextTry();
    }
}

TEST_F(PassScheduleTest, ANewReportIsDueAtOnceAndOneThatArrivedDuringThePassToo) {
    schedule.begun({"a"});
    EXPECT_TRUE(schedule.ended({"a"}, false, now));
    EXPECT_FALSE(schedule.isDue({"a"}, now));
    EXPECT_TRUE(schedule.isDue({"a", "b"}, now));
    schedule.begun({"a", "b"});
    EXPECT_FALSE(schedule.ended({"a", "b", "c"}, false, now));
    EXPECT_TRUE(schedule.isDue({"a", "b", "c"}, now));
}

TEST_F(PassScheduleTest, AfterOneThatGotSomewherePausesBeginAgainAndItIsToldAgain) {
    for (int round = 0; round < 2; ++round) {
        schedule.begun({"a"});
        EXPECT_TRUE(schedule.ended({"a"}, false, now));
        schedule.begun({"a"});
        EXPECT_FALSE(schedule.ended({"a"}, false, now));
        EXPECT_EQ(*schedule.nextTry(), now + seconds(2));
        schedule.begun({"a", "b"});
        EXPECT_FALSE(schedule.ended({"a"}, false, now));
    }
}

// It crashes at one of the reports each time, and each crash is one report more.
TEST_F(PassScheduleTest, AfterAPassThatWasKilledNewReportsWaitTooThoughItGotSomewhere) {
    for (const int pause : {1, 2, 4}) {
        ASSERT_TRUE(schedule.isDue({"a", "b", "c"}, now));
        schedule.begun({"a", "b"});
        EXPECT_FALSE(schedule.ended({"b", "c"}, true, now)) << "it got somewhere";
        EXPECT_EQ(*schedule.nextTry(), now + seconds(pause));
        EXPECT_FALSE(schedule.isDue({"b", "c", "d"}, now));
        now = *schedule.nextTry();
    }
    schedule.begun({"a", "b"});
    EXPECT_FALSE(schedule.ended({"b"}, false, now));
    EXPECT_TRUE(schedule.isDue({"b"}, now));
}

TEST_F(PassScheduleTest, APassThatWasKilledAndGotNowhereIsToldOnce) {
    schedule.begun({"a"});
    EXPECT_TRUE(schedule.ended({"a"}, true, now));
    schedule.begun({"a"});
    EXPECT_FALSE(schedule.ended({"a"}, true, now));
}

}  // namespace

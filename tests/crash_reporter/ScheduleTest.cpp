#include <gtest/gtest.h>

#include "crash_reporter/Schedule.h"

namespace {

using crash_reporter::Clock;
using crash_reporter::Deadline;
using crash_reporter::Schedule;
using crash_reporter::Time;
using std::chrono::seconds;

class ScheduleTest : public testing::Test {
  protected:
    ScheduleTest() { schedule.beginRound(start); }

    const Time start = Clock::now();
    Schedule schedule;
};

TEST_F(ScheduleTest, NothingIsDueWithoutDeadlines) {
    EXPECT_EQ(schedule.now(), start);
    EXPECT_FALSE(schedule.isDue(Deadline::poll));
    EXPECT_FALSE(schedule.next());
}

TEST_F(ScheduleTest, ADeadlineIsDueFromItsTimeOn) {
    schedule.set(Deadline::firstRecord, start + seconds(15));
    EXPECT_FALSE(schedule.isDue(Deadline::firstRecord));
    schedule.beginRound(start + seconds(15));
    EXPECT_TRUE(schedule.isDue(Deadline::firstRecord));
    EXPECT_FALSE(schedule.isDue(Deadline::poll)) << "another one is";
    schedule.beginRound(start + seconds(16));
    EXPECT_TRUE(schedule.isDue(Deadline::firstRecord));
}

TEST_F(ScheduleTest, TheEarliestDeadlineIsNextWhateverItsPlace) {
    schedule.set(Deadline::poll, start + seconds(10));
    EXPECT_EQ(schedule.next(), start + seconds(10));
    schedule.set(Deadline::restoration, start + seconds(4));
    EXPECT_EQ(schedule.next(), start + seconds(4));
    schedule.set(Deadline::nextPass, start + seconds(7));
    EXPECT_EQ(schedule.next(), start + seconds(4));
    schedule.set(Deadline::restoration, std::nullopt);
    EXPECT_EQ(schedule.next(), start + seconds(7));
}

// Or a round would follow the other without a pause.
TEST_F(ScheduleTest, ADeadlineThatIsDueIsNotNext) {
    schedule.set(Deadline::firstRecord, start);
    EXPECT_FALSE(schedule.next());
    schedule.set(Deadline::poll, start + seconds(10));
    EXPECT_EQ(schedule.next(), start + seconds(10));
}

}  // namespace

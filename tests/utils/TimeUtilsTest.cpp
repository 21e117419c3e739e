#include <gtest/gtest.h>

#include <ctime>
#include <regex>
#include <stdexcept>
#include <string>

#include "hcrpt/HCrashRptUtils.h"
#include "support/LinkSeams.h"
#include "support/ScopedEnvVar.h"

using seams::ScopedSeam;
using test_support::ScopedEnvVar;

namespace {

/// 2026-11-15 18:42:43 UTC, a Sunday.
constexpr std::time_t kSunday = 1794768163;
/// 2026-11-05 08:02:03 UTC, a Thursday.
constexpr std::time_t kThursday = 1793865723;

const std::regex kLayout(
    "(Sun|Mon|Tue|Wed|Thu|Fri|Sat) (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) "
    "[ 123][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4}");

std::string textOf(std::time_t time) {
    const ScopedSeam seam(seams::onLocaltime,
                          [time](const std::time_t*, tm* parts) { return gmtime_r(&time, parts); });
    return HCrashRptUtils::timestamp();
}

}  // namespace

TEST(TimeUtilsTest, TimestampHasTheLayoutOfAsctimeWithoutLineFeed) {
    EXPECT_EQ(textOf(kSunday), "Sun Nov 15 18:42:43 2026");
    EXPECT_EQ(textOf(kThursday), "Thu Nov  5 08:02:03 2026");
}

TEST(TimeUtilsTest, BothClocksShowTheSameLayoutAndTime) {
    const ScopedEnvVar zone("TZ", "XYZ-05:30");
    // The clock may tick between the two calls; it does not do so every time.
    std::string timestamp;
    std::string currentTime;
    for (int attempt = 0; attempt < 5; ++attempt) {
        timestamp = HCrashRptUtils::timestamp();
        currentTime = HCrashRptUtils::getCurrentTime();
        if (timestamp == currentTime) break;
    }
    EXPECT_EQ(timestamp, currentTime);
    EXPECT_TRUE(std::regex_match(timestamp, kLayout)) << timestamp;
}

TEST(TimeUtilsTest, TimesAreLocalAndFollowTheZone) {
    ScopedEnvVar zone("TZ", "AAA+12");
    const std::string west = HCrashRptUtils::timestamp();
    const std::string westAgain = HCrashRptUtils::getCurrentTime();
    zone.set("BBB-12");
    // A day apart.
    EXPECT_NE(HCrashRptUtils::timestamp().substr(0, 10), west.substr(0, 10));
    EXPECT_NE(HCrashRptUtils::getCurrentTime().substr(0, 10), westAgain.substr(0, 10));
}

TEST(TimeUtilsTest, EachClockFollowsTheZoneByItself) {
    for (const auto clock : {&HCrashRptUtils::timestamp, &HCrashRptUtils::getCurrentTime}) {
        ScopedEnvVar zone("TZ", "AAA+12");
        const std::string west = clock();
        zone.set("BBB-12");
        EXPECT_NE(clock().substr(0, 10), west.substr(0, 10));
    }
}

TEST(TimeUtilsTest, CurrentTimeEndsBeforeTheLineFeed) {
    const ScopedSeam seam(seams::onCtime, [](const std::time_t*, char* text) {
        return std::char_traits<char>::copy(text, "first\nsecond\n", 14);
    });
    EXPECT_EQ(HCrashRptUtils::getCurrentTime(), "first");
}

/// What the clock complains of; empty when it gives a time.
std::string complaintOf(std::string (*clock)()) {
    try {
        clock();
        return "";
    } catch (const std::logic_error& error) {
        return error.what();
    }
}

TEST(TimeUtilsTest, TimeWithoutTextIsALogicError) {
    const ScopedSeam noParts(seams::onLocaltime,
                             [](const std::time_t*, tm*) { return static_cast<tm*>(nullptr); });
    const ScopedSeam noText(seams::onCtime,
                            [](const std::time_t*, char*) { return static_cast<char*>(nullptr); });
    for (const auto clock : {&HCrashRptUtils::timestamp, &HCrashRptUtils::getCurrentTime})
        EXPECT_EQ(complaintOf(clock), "no text for the current time");
}

TEST(TimeUtilsTest, YearBeyondFourDigitsHasNoText) {
    const ScopedSeam seam(seams::onLocaltime, [](const std::time_t*, tm* parts) {
        *parts = {};
        parts->tm_year = 1000000000;
        return parts;
    });
    EXPECT_THROW(HCrashRptUtils::timestamp(), std::logic_error);
}

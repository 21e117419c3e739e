#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <limits>

#include "base/Digits.h"

namespace {

using hcrpt::isDigits;
using hcrpt::isProcessId;
using hcrpt::numberIn;

TEST(DigitsTest, OnlyDigitsUpToTheBoundAreTaken) {
    EXPECT_TRUE(isDigits("0", 3));
    EXPECT_TRUE(isDigits("789", 3));
    EXPECT_FALSE(isDigits("7890", 3));
    for (const char* text : {"", "-1", "+1", " 1", "1 ", "1.", "0x1", "a", "/", ":"})
        EXPECT_FALSE(isDigits(text, 3)) << text;
}

TEST(DigitsTest, EveryProcessIdFitsIntoItsType) {
    EXPECT_TRUE(isProcessId("1"));
    EXPECT_TRUE(isProcessId("4194304")) << "the largest of the kernel";
    EXPECT_TRUE(isProcessId("999999999"));
    EXPECT_TRUE(numberIn<pid_t>("999999999"));
    EXPECT_FALSE(isProcessId("1234567890"));
    EXPECT_FALSE(isProcessId("12a"));
    EXPECT_FALSE(isProcessId(""));
}

TEST(DigitsTest, ANumberIsTheWholeText) {
    EXPECT_EQ(numberIn<long>("0"), 0);
    EXPECT_EQ(numberIn<long>("-12"), -12);
    EXPECT_EQ(numberIn<std::uint64_t>("18446744073709551615"),
              std::numeric_limits<std::uint64_t>::max());
    for (const char* text : {"", "1x", "x", " 1", "1 ", "+1", "1.5"})
        EXPECT_FALSE(numberIn<long>(text)) << text;
}

TEST(DigitsTest, ANumberThatTheTypeCannotHoldIsNone) {
    EXPECT_FALSE(numberIn<std::uint64_t>("18446744073709551616"));
    EXPECT_FALSE(numberIn<std::uint64_t>("-1"));
    EXPECT_FALSE(numberIn<int>("2147483648"));
}

}  // namespace

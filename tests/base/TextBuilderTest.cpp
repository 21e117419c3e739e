#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <utility>

#include "base/TextBuilder.h"

using hcrpt::TextBuilder;

namespace {

TEST(TextBuilderTest, StartsEmpty) {
    char buffer[] = "old";
    const TextBuilder text(buffer, sizeof buffer);
    EXPECT_STREQ("", text.text());
    EXPECT_EQ(0U, text.length());
}

TEST(TextBuilderTest, AddsTextsAndNumbersInOrder) {
    char buffer[32];
    TextBuilder text(buffer, sizeof buffer);
    text.add("a").add(12).add("").add(" b");
    EXPECT_STREQ("a12 b", text.text());
    EXPECT_EQ(5U, text.length());
}

TEST(TextBuilderTest, WritesEveryKindOfNumber) {
    for (const int number : {0, 1, 9, 10, 11, 100, 4194304, -1, -10, INT_MAX, INT_MIN}) {
        char buffer[32];
        TextBuilder text(buffer, sizeof buffer);
        text.add(number);
        EXPECT_EQ(std::to_string(number), text.text());
        EXPECT_EQ(std::to_string(number).size(), text.length());
    }
}

TEST(TextBuilderTest, WritesHexadecimalNumbers) {
    for (const auto& [number, expected] : {std::pair<std::uintptr_t, const char*>{0, "0x0"},
                                           {9, "0x9"},
                                           {10, "0xa"},
                                           {15, "0xf"},
                                           {16, "0x10"},
                                           {0x7f3a2c5d4e5f, "0x7f3a2c5d4e5f"},
                                           {UINTPTR_MAX, "0xffffffffffffffff"}}) {
        char buffer[32];
        TextBuilder text(buffer, sizeof buffer);
        EXPECT_STREQ(expected, text.addHex(number).text());
        EXPECT_EQ(std::string(expected).size(), text.length());
    }
}

TEST(TextBuilderTest, ATextThatJustFitsIsWhole) {
    char buffer[4];
    TextBuilder text(buffer, sizeof buffer);
    text.add("abc");
    EXPECT_STREQ("abc", text.text());
    EXPECT_EQ(3U, text.length());
}

TEST(TextBuilderTest, WhatDoesNotFitIsCutOff) {
    char buffer[8] = "#######";
    TextBuilder text(buffer, 4);
    text.add("ab").add("cd").add("e").add(1);
    EXPECT_STREQ("abc", text.text());
    EXPECT_EQ(3U, text.length());
    EXPECT_EQ(std::string("abc\0###", 7), std::string(buffer, 7)) << "written beyond the buffer";
}

TEST(TextBuilderTest, ANumberIsCutOffLikeAText) {
    char buffer[4];
    TextBuilder text(buffer, sizeof buffer);
    text.add(-12345);
    EXPECT_STREQ("-12", text.text());
}

TEST(TextBuilderTest, ABufferOfOneByteStaysEmpty) {
    char buffer[2] = {'#', '#'};
    TextBuilder text(buffer, 1);
    text.add("abc").add(7);
    EXPECT_STREQ("", text.text());
    EXPECT_EQ('#', buffer[1]);
}

TEST(TextBuilderTest, AddsTheBeginningOfAText) {
    char buffer[32];
    TextBuilder text(buffer, sizeof buffer);
    text.add("session:1", 7).add("x", 0);
    EXPECT_STREQ("session", text.text());
    EXPECT_FALSE(text.isCut());
}

TEST(TextBuilderTest, TellsThatSomethingDidNotFit) {
    char buffer[5];
    TextBuilder text(buffer, sizeof buffer);
    text.add("1234");
    EXPECT_FALSE(text.isCut()) << "it just fits";
    text.add("");
    EXPECT_FALSE(text.isCut());
    text.add("5");
    EXPECT_TRUE(text.isCut());
    EXPECT_STREQ("1234", text.text());
}

}  // namespace

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "transmit/ShellText.h"

namespace hcrpt {
namespace {

using namespace test_support;

TEST(ShellTextTest, EachCharacterThatAShellActsOnWithinDoubleQuotesIsFound) {
    for (const char c : {'$', '`', '"', '\\', '\n'})
        for (const std::string& text : {std::string("a") + c + "b", c + std::string("b"),
                                        std::string("a") + c, std::string(1, c)})
            EXPECT_FALSE(isPlainInDoubleQuotes(text)) << text;
}

TEST(ShellTextTest, WhatCountsAsPlainReachesAProgramThroughAShellAsItStands) {
    std::string plain;
    for (int code = 1; code < 256; ++code) {
        const char c = static_cast<char>(code);
        if (isPlainInDoubleQuotes(std::string(1, c))) plain += c;
    }
    EXPECT_EQ(plain.size(), 250U);
    ChildProcess shell = ChildProcess::exec({"sh", "-c", "printf %s \"" + plain + "\""});
    EXPECT_EQ(shell.wait(), exitedWith(0));
    EXPECT_EQ(shell.standardOutput(), plain);
    EXPECT_TRUE(isPlainInDoubleQuotes(""));
}

}  // namespace
}  // namespace hcrpt

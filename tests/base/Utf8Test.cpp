#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "base/Utf8.h"

using hcrpt::validUtf8;

namespace {

const std::string kMark = "\xef\xbf\xbd";  // U+FFFD

TEST(ValidUtf8Test, ValidTextIsUnchanged) {
    for (const std::string& text :
         {std::string(), std::string("plain"), std::string("a\0b\n", 4),
          std::string("\x7f \xc2\x80 \xdf\xbf"),                               // ends of two bytes
          std::string("\xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xef\xbf\xbf"),  // of three
          std::string("\xf0\x90\x80\x80 \xf4\x8f\xbf\xbf")})                   // of four
        EXPECT_EQ(text, validUtf8(text));
}

TEST(ValidUtf8Test, EachInvalidSequenceBecomesOneReplacementCharacter) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"\x80", kMark},                                  // a continuation byte alone
        {"caf\xe9 au lait", "caf" + kMark + " au lait"},  // Latin-1
        {"\xc0\xaf", kMark + kMark},                      // overlong
        {"\xc1\xbf", kMark + kMark},
        {"\xe0\x9f\xbf", kMark + kMark + kMark},
        {"\xf0\x8f\xbf\xbf", kMark + kMark + kMark + kMark},
        {"\xed\xa0\x80", kMark + kMark + kMark},              // a surrogate
        {"\xf4\x90\x80\x80", kMark + kMark + kMark + kMark},  // beyond U+10FFFF
        {"\xf5"
         "a",
         kMark + "a"},
        {"\xff", kMark},
        {"\xe2\x82", kMark},  // cut off at the end
        {"\xe2\x82"
         "a",
         kMark + "a"},
        {"\xf0\x9f\x98"
         "\xe2\x82\xac",
         kMark + "\xe2\x82\xac"},
        {"\xc3(", kMark + "("},
    };
    for (const auto& [bytes, text] : cases)
        EXPECT_EQ(text, validUtf8(bytes)) << testing::PrintToString(bytes);
}

}  // namespace

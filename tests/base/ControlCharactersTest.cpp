#include <gtest/gtest.h>

#include "base/ControlCharacters.h"

namespace {

using hcrpt::isControl;
using hcrpt::withoutControls;

TEST(ControlCharactersTest, AreThoseOfAscii) {
    for (int code = 0; code < 256; ++code)
        EXPECT_EQ(isControl(static_cast<char>(code)), code < 32 || code == 127) << code;
}

TEST(ControlCharactersTest, BecomeQuestionMarks) {
    EXPECT_EQ(withoutControls("a\nb\r\tc\x1b[0m\x7f z\xc3\xa4"), "a?b??c?[0m? z\xc3\xa4");
    EXPECT_EQ(withoutControls(""), "");
}

}  // namespace

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>

#include "report_server/Request.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFault.h"
#include "support/TempDir.h"

namespace report_server {
namespace {

TEST(RequestTest, AVariableThatIsNotSetIsEmpty) {
    test_support::ScopedEnvVar variableOfTest("HCRPT_REQUEST_TEST", std::nullopt);
    EXPECT_EQ(variable("HCRPT_REQUEST_TEST"), "");
    variableOfTest.set("x");
    EXPECT_EQ(variable("HCRPT_REQUEST_TEST"), "x");
}

TEST(RequestTest, OnlyDigitsAreANumber) {
    EXPECT_EQ(decimal("0"), 0u);
    EXPECT_EQ(decimal("0016777216"), 16777216u);
    EXPECT_EQ(decimal("18446744073709551615"), 18446744073709551615u);
    for (const char* text : {"", " 1", "1 ", "-1", "+1", "1k", "0x1", "18446744073709551616"})
        EXPECT_EQ(decimal(text), std::nullopt) << text;
}

TEST(RequestTest, ABodyThatComesInPiecesIsReadWhole) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "abc", 3), 3);
    ASSERT_EQ(write(ends[1], "\0de", 3), 3);
    EXPECT_EQ(readBody(ends[0], 5), std::string("abc\0d", 5)) << "not more than its length";
    close(ends[1]);
    EXPECT_EQ(readBody(ends[0], 2), std::nullopt) << "ended early";
    EXPECT_EQ(readBody(ends[0], 0), "");
    close(ends[0]);
    EXPECT_EQ(readBody(-1, 1), std::nullopt);
}

TEST(RequestTest, AnInterruptedReadGoesOn) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "abc", 3), 3);
    {
        const test_support::ScopedFault interrupted(seams::onRead, EINTR);
        EXPECT_EQ(readBody(ends[0], 3), "abc");
        EXPECT_EQ(interrupted.met(), 1);
    }
    for (const int end : ends) close(end);
}

}  // namespace
}  // namespace report_server

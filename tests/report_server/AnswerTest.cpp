#include <gtest/gtest.h>

#include "report_server/Answer.h"
#include "support/TempDir.h"

namespace report_server {
namespace {

using namespace test_support;

TEST(AnswerTest, IsStatusTypeHeadersAndText) {
    EXPECT_EQ(cgiAnswer({"200 OK", "fine"}),
              "Status: 200 OK\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nfine\n");
    EXPECT_EQ(cgiAnswer({"405 No", "post", "Allow: POST\r\n", "not sent"}),
              "Status: 405 No\r\nContent-Type: text/plain; charset=utf-8\r\nAllow: POST\r\n\r\n"
              "post\n");
}

TEST(AnswerTest, NoneIsChosenWithoutAFileOrADirectory) {
    TempDir dir;
    EXPECT_EQ(chosenAnswer(""), std::nullopt);
    EXPECT_EQ(chosenAnswer(dir.path()), std::nullopt);
    writeFile(dir / "answer", "");
    EXPECT_EQ(chosenAnswer(dir.path()), std::nullopt);
}

TEST(AnswerTest, AChosenStatusAloneIsItsOwnText) {
    TempDir dir;
    for (const char* text : {"503 Service Unavailable", "503 Service Unavailable\n"}) {
        writeFile(dir / "answer", text);
        EXPECT_EQ(chosenAnswer(dir.path()),
                  cgiAnswer({"503 Service Unavailable", "503 Service Unavailable"}));
    }
}

TEST(AnswerTest, TheRestOfAChosenAnswerIsSentAsItIs) {
    TempDir dir;
    writeFile(dir / "answer", "301 Moved\nLocation: https://x.example/\n\nbody");
    EXPECT_EQ(chosenAnswer(dir.path()),
              "Status: 301 Moved\r\nLocation: https://x.example/\n\nbody");
}

TEST(AnswerTest, OnlyTheWholeCodeIsTheSame) {
    EXPECT_TRUE(isSameCode("crpt1", "crpt1"));
    for (const std::string& given :
         {std::string(), std::string("crpt"), std::string("crpt12"), std::string("crpt2"),
          std::string("Crpt1"), std::string("crpt1crpt1"), std::string("crpt1\0", 6)})
        EXPECT_FALSE(isSameCode(given, "crpt1")) << given;
}

TEST(AnswerTest, WithoutACodeNobodyGetsIn) {
    EXPECT_FALSE(isSameCode("", ""));
    EXPECT_FALSE(isSameCode("x", ""));
}

TEST(AnswerTest, TextForTheLogCannotBreakItsLine) {
    EXPECT_EQ(forLog("a\nb\r\tc\x1b[0m\xc3\xa4 ~"), "a?b??c?[0m?? ~");
    EXPECT_EQ(forLog(std::string(500, 'x')), std::string(200, 'x'));
}

}  // namespace
}  // namespace report_server

#include <gtest/gtest.h>

#include "velcurl/CurlTrace.h"

namespace velcurl {
namespace {

constexpr char kRequest[] =
    "* Connected\n} [5 bytes data]\n> POST / HTTP/1.1\r\n> Host: h\r\n> \r\n";

Answer answerIn(const std::string& afterRequest) {
    return lastAnswer(kRequest + afterRequest);
}

TEST(CurlTraceTest, TheAnswersStatusReasonAndWholenessAreFound) {
    const Answer answer = answerIn(
        "{ [5 bytes data]\n< HTTP/1.1 503 Service Unavailable\r\n"
        "< Content-Length: 0\r\n< \r\n* Connection left intact\n");
    EXPECT_EQ(answer.statusLine, "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(answer.status(), 503);
    EXPECT_EQ(answer.reason(), "Service Unavailable");
    EXPECT_TRUE(answer.headersAreWhole);
    EXPECT_FALSE(answer.isProxys);
}

TEST(CurlTraceTest, WithoutAnAnswerThereIsNone) {
    for (const std::string& trace : {std::string(), std::string(kRequest), std::string("\n\n"),
                                     std::string("* < HTTP/1.1 200 OK\n"), std::string("<"),
                                     std::string("HTTP/1.1 200 OK\n")}) {
        const Answer answer = lastAnswer(trace);
        EXPECT_EQ(answer.statusLine, "") << trace;
        EXPECT_EQ(answer.status(), 0);
        EXPECT_EQ(answer.reason(), "");
        EXPECT_FALSE(answer.headersAreWhole);
    }
}

TEST(CurlTraceTest, AnAnswerMayHaveNoReasonOrNoSensibleStatus) {
    EXPECT_EQ(answerIn("< HTTP/1.1 200\r\n< \r\n").status(), 200);
    EXPECT_EQ(answerIn("< HTTP/1.1 200\r\n< \r\n").reason(), "");
    EXPECT_EQ(answerIn("< HTTP/1.1 abc\r\n< \r\n").status(), 0);
    EXPECT_EQ(answerIn("< x\r\n< \r\n").status(), 0);
}

TEST(CurlTraceTest, HeadersThatAreCutOffAreNotWhole) {
    EXPECT_FALSE(answerIn("< HTTP/1.1 200 OK\r\n").headersAreWhole);
    EXPECT_FALSE(answerIn("< HTTP/1.1 200 OK\r\n< Content-Le").headersAreWhole);
    EXPECT_FALSE(answerIn("< HTTP/1.1 200 OK").headersAreWhole);
}

TEST(CurlTraceTest, AnInterimAnswerGivesWayToTheFinalOne) {
    const Answer answer =
        answerIn("< HTTP/1.1 100 Continue\r\n< \r\n* We are fine\n< HTTP/1.1 403 Forbidden\r\n");
    EXPECT_EQ(answer.status(), 403);
    EXPECT_FALSE(answer.headersAreWhole);
}

TEST(CurlTraceTest, AStatusLineAmongTheHeadersIsNoFurtherAnswer) {
    const Answer answer =
        answerIn("< HTTP/1.1 500 Trouble\r\n< HTTP/1.1 200 OK\r\n< X: y\r\n< \r\n");
    EXPECT_EQ(answer.status(), 500);
    EXPECT_TRUE(answer.headersAreWhole);
}

TEST(CurlTraceTest, AProxysAnswerIsToldFromTheServers) {
    const std::string tunnel =
        "> CONNECT h:443 HTTP/1.1\r\n> Host: h:443\r\n> \r\n< HTTP/1.1 200 OK\r\n< \r\n";
    EXPECT_TRUE(lastAnswer(tunnel).isProxys);
    EXPECT_EQ(lastAnswer(tunnel).status(), 200);
    EXPECT_EQ(lastAnswer(tunnel + kRequest).status(), 0) << "the server has not answered";
    const Answer answer = lastAnswer(tunnel + kRequest + "< HTTP/1.1 201 Created\r\n< \r\n");
    EXPECT_EQ(answer.status(), 201);
    EXPECT_FALSE(answer.isProxys);
}

TEST(CurlTraceTest, ANewRequestForgetsAnAnswerThatWasCutOff) {
    const Answer answer = answerIn("< HTTP/1.1 200 OK\r\n* Connection died, retrying\n" +
                                   std::string(kRequest) + "< HTTP/1.1 500 Trouble\r\n< \r\n");
    EXPECT_EQ(answer.status(), 500);
    EXPECT_TRUE(answer.headersAreWhole);
}

TEST(CurlTraceTest, CurlsOwnWordsAboutItsEndAreFound) {
    EXPECT_EQ(complaint("* x\ncurl: (7) Failed to connect\n\n", 7), "Failed to connect");
    EXPECT_EQ(complaint("curl: (60) first\nMore: curl: (60) x\ncurl: (60) last\r\n", 60), "last");
    EXPECT_EQ(complaint("curl: (7) x\n", 60), "");
    EXPECT_EQ(complaint("* curl: (7) x\n", 7), "");
    EXPECT_EQ(complaint("", 7), "");
}

}  // namespace
}  // namespace velcurl

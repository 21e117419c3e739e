// The CGI program alone, called as a web server calls it.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "FormBody.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

const std::string kPlain = "Content-Type: text/plain; charset=utf-8\r\n";

class CgiTest : public testing::Test {
  protected:
    CgiTest() { std::filesystem::create_directory(dir / "store"); }

    // The answer to a request; its body can be shorter than its environment says.
    std::string answerTo(const std::string& body, std::map<std::string, std::string> environment) {
        writeFile(dir / "body", body);
        ChildProcess::Options options;
        options.set = std::move(environment);
        options.set.emplace("REQUEST_METHOD", "POST");
        options.set.emplace("CONTENT_TYPE", kFormType);
        options.set.emplace("CONTENT_LENGTH", std::to_string(body.size()));
        options.set.emplace("REPORT_SERVER_STORE", dir / "store");
        options.set.emplace("REPORT_SERVER_DIR", dir.path());
        ChildProcess child = ChildProcess::exec(
            {"sh", "-c", "exec \"$1\" < \"$2\"", "sh", CGI_PROGRAM, dir / "body"}, options);
        EXPECT_EQ(child.wait(), exitedWith(0));
        log = child.standardError();
        return child.standardOutput();
    }
    std::string answerTo(const std::string& body) { return answerTo(body, {}); }

    static std::string form(const std::string& access = HCRPT_ACCESS_CODE) {
        return fieldPart("access", access) + filePart("r.json", awkwardContent()) + closing();
    }
    static std::string answer(const std::string& status, const std::string& text) {
        return "Status: " + status + "\r\n" + kPlain + "\r\n" + text + "\n";
    }
    std::vector<std::string> stored() const { return namesIn(dir / "store"); }

    TempDir dir;
    std::string log;
};

TEST_F(CgiTest, AGoodFormIsStoredAndAnswered200) {
    const std::string got = answerTo(form());
    ASSERT_EQ(stored().size(), 1u) << got;
    EXPECT_EQ(got, answer("200 OK", "Report stored as " + stored()[0]));
    EXPECT_EQ(readFile(dir / "store/" + stored()[0]), awkwardContent());
}

TEST_F(CgiTest, TheLogSaysWhatWasStoredButNotTheAccessCode) {
    answerTo(fieldPart("access", HCRPT_ACCESS_CODE) + fieldPart("domain", "d\n.example") +
             fieldPart("regid", "7") + filePart("r", "123") + closing());
    ASSERT_EQ(stored().size(), 1u);
    EXPECT_EQ(log.substr(log.find(' ') + 1),
              "200 OK: Report stored as " + stored()[0] +
                  " (3 bytes, domain \"d?.example\", regid \"7\")\n");
    EXPECT_EQ(log.find(HCRPT_ACCESS_CODE), std::string::npos);
}

TEST_F(CgiTest, AWrongOrMissingAccessCodeIsAnswered403) {
    const std::string expected = answer("403 Forbidden", "The access code is wrong.");
    EXPECT_EQ(answerTo(form("wrong")), expected);
    EXPECT_EQ(answerTo(form("")), expected);
    EXPECT_EQ(answerTo(filePart("r", "x") + closing()), expected);
    EXPECT_TRUE(stored().empty());
}

TEST_F(CgiTest, AnAccessCodeInTheQueryStringDoesNotCount) {
    const std::string got =
        answerTo(filePart("r", "x") + closing(),
                 {{"QUERY_STRING", std::string("access=") + HCRPT_ACCESS_CODE}});
    EXPECT_EQ(got, answer("403 Forbidden", "The access code is wrong."));
}

TEST_F(CgiTest, TheServersEnvironmentCanChangeTheAccessCode) {
    const std::string other = "other7";
    EXPECT_NE(answerTo(form(), {{"REPORT_SERVER_ACCESS", other}}).find("403"), std::string::npos);
    EXPECT_NE(answerTo(form(other), {{"REPORT_SERVER_ACCESS", other}}).find("200"),
              std::string::npos);
    EXPECT_NE(answerTo(form(), {{"REPORT_SERVER_ACCESS", ""}}).find("200"), std::string::npos)
        << "empty stands for the built-in one";
}

TEST_F(CgiTest, AFormWithoutAFileIsAnswered400) {
    EXPECT_EQ(answerTo(fieldPart("access", HCRPT_ACCESS_CODE) + closing()),
              answer("400 Bad Request", "The form has no file \"file_loc\"."));
}

TEST_F(CgiTest, AMalformedRequestIsAnswered400) {
    const std::string malformed =
        answer("400 Bad Request", "The request is not a well-formed multipart form.");
    EXPECT_EQ(answerTo("file_loc=x", {{"CONTENT_TYPE", "application/x-www-form-urlencoded"}}),
              malformed);
    EXPECT_EQ(answerTo(filePart("r", "x")), malformed);
    EXPECT_EQ(answerTo(""), malformed);
    EXPECT_EQ(answerTo("--" + kBoundary + "\r\nno header\r\n" + closing()), malformed);
    EXPECT_TRUE(stored().empty());
}

TEST_F(CgiTest, ARequestOfNoOrWrongLengthIsAnswered400) {
    const std::string unknown =
        answer("400 Bad Request", "The request does not say how long it is.");
    for (const char* length : {"", "-1", "x", "99999999999999999999"})
        EXPECT_EQ(answerTo(form(), {{"CONTENT_LENGTH", length}}), unknown) << length;
    EXPECT_EQ(answerTo(form(), {{"CONTENT_LENGTH", std::to_string(form().size() + 1)}}),
              answer("400 Bad Request", "The request ended too early."));
    EXPECT_TRUE(stored().empty());
}

TEST_F(CgiTest, AnOversizedRequestIsAnswered413ByItsAnnouncedLength) {
    EXPECT_EQ(answerTo("", {{"CONTENT_LENGTH", "16777217"}}),
              answer("413 Payload Too Large", "The request is longer than 16777216 bytes."));
    EXPECT_EQ(answerTo("", {{"CONTENT_LENGTH", "16777216"}}),
              answer("400 Bad Request", "The request ended too early."));
    const std::string most = std::to_string(form().size());
    EXPECT_NE(answerTo(form(), {{"REPORT_SERVER_MAX_BYTES", most}}).find("200"), std::string::npos);
    EXPECT_EQ(answerTo(form() + "x", {{"REPORT_SERVER_MAX_BYTES", most}}),
              answer("413 Payload Too Large", "The request is longer than " + most + " bytes."));
}

TEST_F(CgiTest, AnotherMethodIsAnswered405) {
    for (const char* method : {"GET", "HEAD", "PUT", "DELETE", "post", ""})
        EXPECT_EQ(answerTo(form(), {{"REQUEST_METHOD", method}}),
                  "Status: 405 Method Not Allowed\r\n" + kPlain +
                      "Allow: POST\r\n\r\nReports are sent by POST.\n")
            << method;
    EXPECT_TRUE(stored().empty());
}

TEST_F(CgiTest, AStoreThatCannotBeWrittenIsAnswered500AndExplainedInTheLogOnly) {
    const std::string expected =
        answer("500 Internal Server Error", "The report could not be stored.");
    EXPECT_EQ(answerTo(form(), {{"REPORT_SERVER_STORE", dir / "missing"}}), expected);
    EXPECT_NE(log.find(dir / "missing"), std::string::npos);
    EXPECT_NE(log.find("No such file or directory"), std::string::npos);
    EXPECT_EQ(answerTo(form(), {{"REPORT_SERVER_STORE", ""}}), expected);
}

TEST_F(CgiTest, AChosenAnswerStandsForEveryRequestAndNothingIsStored) {
    writeFile(dir / "answer", "503 Service Unavailable");
    EXPECT_EQ(answerTo(form()), answer("503 Service Unavailable", "503 Service Unavailable"));
    EXPECT_EQ(answerTo("", {{"REQUEST_METHOD", "GET"}}),
              answer("503 Service Unavailable", "503 Service Unavailable"));
    EXPECT_TRUE(stored().empty());
}

}  // namespace

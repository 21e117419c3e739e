#include <gtest/gtest.h>

#include "FormBody.h"
#include "report_server/ReportForm.h"

namespace report_server {
namespace {

using namespace test_support;

TEST(ReportFormTest, FieldsAndFileArriveInAnyOrder) {
    const auto form = decodeForm(
        kFormType, fieldPart("access", "code") + filePart("r.json", "content") +
                       fieldPart("regid", "7") + fieldPart("domain", "d.example") + closing());
    ASSERT_TRUE(form);
    EXPECT_TRUE(form->hasFile);
    EXPECT_EQ(form->fileName, "r.json");
    EXPECT_EQ(form->content, "content");
    EXPECT_EQ(form->domain, "d.example");
    EXPECT_EQ(form->regid, "7");
    EXPECT_EQ(form->access, "code");
}

TEST(ReportFormTest, MissingFieldsStayEmptyAndOthersAreIgnored) {
    const auto form = decodeForm(kFormType, fieldPart("other", "x") + closing());
    ASSERT_TRUE(form);
    EXPECT_FALSE(form->hasFile);
    EXPECT_EQ(form->fileName + form->content + form->domain + form->regid + form->access, "");
}

TEST(ReportFormTest, AwkwardContentArrivesByteForByte) {
    const std::string content = awkwardContent();
    for (const std::string& end : {closing(), "--" + kBoundary + "--"}) {
        const auto form =
            decodeForm(kFormType, fieldPart("access", "code") + filePart("r", content) + end);
        ASSERT_TRUE(form);
        EXPECT_EQ(form->content, content);
        EXPECT_EQ(form->access, "code") << "taken from inside the file";
    }
}

TEST(ReportFormTest, ShortContentsArriveByteForByte) {
    for (const std::string& content :
         {std::string(), std::string("\n"), std::string("\r\n"), std::string("\r\n\r\n"),
          std::string(1, '\0'), std::string("-"), std::string("--"), std::string("\r\n--")}) {
        const auto form = decodeForm(kFormType, filePart("r", content) + closing());
        ASSERT_TRUE(form);
        EXPECT_TRUE(form->hasFile);
        EXPECT_EQ(form->content, content);
    }
}

TEST(ReportFormTest, EveryCharacterThatABoundaryMayHaveIsUnderstood) {
    for (const std::string boundary : {"'()+_,-./:=?", "a b", "a,b", "boundary=x"}) {
        const std::string body =
            part("name=\"file_loc\"; filename=\"r\"", "content", boundary) + closing(boundary);
        const auto form = decodeForm("multipart/form-data; boundary=\"" + boundary + "\"", body);
        ASSERT_TRUE(form) << boundary;
        EXPECT_EQ(form->content, "content") << boundary;
    }
}

TEST(ReportFormTest, AFileOfAnotherFieldIsNotTheReport) {
    const std::string other = part("name=\"other\"; filename=\"o\"", "other");
    const auto alone = decodeForm(kFormType, other + closing());
    ASSERT_TRUE(alone);
    EXPECT_FALSE(alone->hasFile);
    const auto both = decodeForm(kFormType, filePart("r", "content") + other + closing());
    ASSERT_TRUE(both);
    EXPECT_EQ(both->fileName, "r");
    EXPECT_EQ(both->content, "content");
}

TEST(ReportFormTest, AFileFieldWithoutAFileIsNoFile) {
    const auto plain = decodeForm(kFormType, fieldPart("file_loc", "text") + closing());
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->hasFile);
    const auto nameless = decodeForm(kFormType, filePart("", "text") + closing());
    ASSERT_TRUE(nameless);
    EXPECT_FALSE(nameless->hasFile);
}

TEST(ReportFormTest, AFieldThatComesTwiceIsRefused) {
    EXPECT_FALSE(decodeForm(kFormType, filePart("a", "1") + filePart("b", "2") + closing()));
    EXPECT_FALSE(
        decodeForm(kFormType, filePart("a", "1") + fieldPart("file_loc", "2") + closing()));
    for (const char* name : {"domain", "regid", "access"})
        EXPECT_FALSE(decodeForm(kFormType, fieldPart(name, "1") + fieldPart(name, "2") + closing()))
            << name;
}

TEST(ReportFormTest, MalformedFormsAreRefused) {
    const std::string good = filePart("r", "content") + closing();
    EXPECT_FALSE(decodeForm("text/plain", good));
    EXPECT_FALSE(decodeForm(kFormType + "0", good)) << "another boundary";
    EXPECT_FALSE(decodeForm(kFormType, ""));
    EXPECT_FALSE(decodeForm(kFormType, "content"));
    EXPECT_FALSE(decodeForm(kFormType, filePart("r", "content"))) << "no closing delimiter";
    EXPECT_FALSE(decodeForm(kFormType, "--" + kBoundary + "\r\nno header\r\n" + closing()));
}

TEST(ReportFormTest, ABoundaryInsideTheFileIsRefusedRatherThanCutThere) {
    const std::string body =
        fieldPart("access", "code") + filePart("r", "x--" + kBoundary + "\r\ny") + closing();
    EXPECT_FALSE(decodeForm(kFormType, body));
}

}  // namespace
}  // namespace report_server

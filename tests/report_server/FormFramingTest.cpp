#include <gtest/gtest.h>

#include "report_server/FormFraming.h"

namespace report_server {
namespace {

TEST(BoundaryOfTest, IsFoundInTheContentTypeWithOrWithoutQuotes) {
    EXPECT_EQ(boundaryOf("multipart/form-data; boundary=abc"), "abc");
    EXPECT_EQ(boundaryOf("multipart/form-data;boundary=\"a b:c\""), "a b:c");
    EXPECT_EQ(boundaryOf("Multipart/Form-Data ; charset=utf-8; Boundary=abc ; x=y"), "abc");
    EXPECT_EQ(boundaryOf("multipart/form-data; boundary=" + std::string(70, 'x')),
              std::string(70, 'x'));
}

TEST(BoundaryOfTest, AnotherTypeOrABadBoundaryIsRefused) {
    for (const std::string& type : {std::string(), std::string("multipart/form-data"),
                                    std::string("multipart/form-data; boundary="),
                                    std::string("multipart/form-data; boundary=\"\""),
                                    std::string("multipart/form-data; boundary=a*b"),
                                    std::string("multipart/form-data; boundary=\"a \""),
                                    "multipart/form-data; boundary=" + std::string(71, 'x'),
                                    std::string("multipart/form-datas; boundary=abc"),
                                    std::string("multipart/mixed; boundary=abc"),
                                    std::string("application/x-www-form-urlencoded; boundary=abc"),
                                    std::string("text/plain; x=multipart/form-data; boundary=abc")})
        EXPECT_EQ(boundaryOf(type), std::nullopt) << type;
}

TEST(IsWellFramedTest, PartsAndAClosingDelimiterAtLineStartsAreGood) {
    EXPECT_TRUE(isWellFramed("--b\r\nx\r\n\r\ny\r\n--b--\r\n", "b"));
    EXPECT_TRUE(isWellFramed("--b\r\nx\r\n\r\ny\r\n--b\r\nz\r\n--b--\r\n", "b"));
    EXPECT_TRUE(isWellFramed("preamble\r\n--b\r\nx\r\n--b--\r\nepilogue", "b"));
    EXPECT_TRUE(isWellFramed("--b--\r\n", "b"));
}

TEST(IsWellFramedTest, TheLastLineMayLackItsEnd) {
    EXPECT_TRUE(isWellFramed("--b\r\nx\r\n--b--", "b"));
}

TEST(IsWellFramedTest, AFormThatIsCutOffIsNot) {
    const std::string whole = "--b\r\nx\r\n\r\ny\r\n--b--\r\n";
    for (std::size_t length = 0; length < whole.size() - 2; ++length)
        EXPECT_FALSE(isWellFramed(whole.substr(0, length), "b")) << length;
}

TEST(IsWellFramedTest, ABoundaryInsideTheContentIsNot) {
    EXPECT_FALSE(isWellFramed("--b\r\nx --b\r\ny\r\n--b--\r\n", "b")) << "middle of a line";
    EXPECT_FALSE(isWellFramed("--b\r\nx\n--b\r\ny\r\n--b--\r\n", "b")) << "after a bare line feed";
    EXPECT_FALSE(isWellFramed("--b\r\nx\r\n--bc\r\ny\r\n--b--\r\n", "b")) << "start of a line";
    EXPECT_FALSE(isWellFramed("--b\r\nx\r\n--b \r\ny\r\n--b--\r\n", "b")) << "blank after it";
    EXPECT_FALSE(isWellFramed("--b\r\nx\r\n--b--\r\ny\r\n--b--\r\n", "b")) << "closed twice";
    EXPECT_FALSE(isWellFramed("--b\r\nx\r\n--b--\r\ny\r\n--b\r\n", "b")) << "part after the end";
}

}  // namespace
}  // namespace report_server

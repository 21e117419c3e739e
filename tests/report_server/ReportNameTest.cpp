#include <gtest/gtest.h>

#include <regex>

#include "report_server/ReportName.h"

namespace report_server {
namespace {

TEST(ReportNameTest, AReportsOwnNameIsKept) {
    const std::string name = "CrashReport_4711_host-1_user_20261121T054733.json";
    EXPECT_EQ(safeName(name), name);
}

TEST(ReportNameTest, OnlyThePartAfterTheLastSeparatorCounts) {
    EXPECT_EQ(safeName("/etc/passwd"), "passwd");
    EXPECT_EQ(safeName("../../a.json"), "a.json");
    EXPECT_EQ(safeName("..\\..\\a.json"), "a.json");
    EXPECT_EQ(safeName("a/b\\c"), "c");
}

TEST(ReportNameTest, NothingLeftIsCalledReport) {
    for (const char* name : {"", ".", "..", "...", "/", "a/", "a/..", "\\"})
        EXPECT_EQ(safeName(name), "report") << name;
}

TEST(ReportNameTest, NoNameIsHidden) {
    EXPECT_EQ(safeName(".ssh"), "ssh");
    EXPECT_EQ(safeName("..a.b"), "a.b");
}

TEST(ReportNameTest, OtherCharactersBecomeUnderscores) {
    EXPECT_EQ(safeName("a b;c$(d)`e`\"f'\ng\x7f.json"), "a_b_c__d__e__f__g_.json");
    EXPECT_EQ(safeName("\xc3\xa4.json"), "__.json");
    EXPECT_EQ(safeName(std::string("a\0b", 3)), "a_b");
    EXPECT_EQ(safeName("-rf"), "-rf");
}

TEST(ReportNameTest, ALongNameIsCut) {
    EXPECT_EQ(safeName(std::string(200, 'x')), std::string(200, 'x'));
    EXPECT_EQ(safeName(std::string(5000, 'x')), std::string(200, 'x'));
}

TEST(ReportNameTest, ArrivalStampsHaveOneFormAndAscend) {
    const std::string first = arrivalStamp();
    EXPECT_TRUE(std::regex_match(first, std::regex("\\d{8}T\\d{6}\\.\\d{6}Z"))) << first;
    std::string later = arrivalStamp();
    while (later == first) later = arrivalStamp();
    EXPECT_LT(first, later);
}

}  // namespace
}  // namespace report_server

#include <gtest/gtest.h>

#include <type_traits>

#include "hcrpt/HCrashReporter.h"

namespace {

using HCrashReporter::HClientProcessInfo;

// A plain value: two texts and nothing else, no virtual operations.
static_assert(!std::is_polymorphic_v<HClientProcessInfo>);
static_assert(sizeof(HClientProcessInfo) == 2 * sizeof(std::string));
// A record may stand where an identity is asked for.
static_assert(std::is_convertible_v<std::string, HClientProcessInfo>);

TEST(HClientProcessInfoTest, IsEmptyAtFirst) {
    const HClientProcessInfo info;
    EXPECT_EQ(info.getProcessId(), "");
    EXPECT_EQ(info.getHostName(), "");
}

TEST(HClientProcessInfoTest, TakesTheProcessIdFirst) {
    const HClientProcessInfo info("4711", "host");
    EXPECT_EQ(info.getProcessId(), "4711");
    EXPECT_EQ(info.getHostName(), "host");
}

TEST(HClientProcessInfoTest, SplitsARecordAtItsFirstColon) {
    struct Case {
        const char* record;
        const char* host;
        const char* pid;
    };
    const Case cases[] = {
        {"host:4711", "host", "4711"},
        {"a:b:c", "a", "b:c"},
        {":7", "", "7"},
        {"host:", "host", ""},
        {":", "", ""},
        {"", "", ""},
        // On purpose: without a colon both are the whole text.
        {"nocolon", "nocolon", "nocolon"},
    };
    for (const Case& each : cases) {
        const HClientProcessInfo info{std::string(each.record)};
        EXPECT_EQ(info.getHostName(), each.host) << each.record;
        EXPECT_EQ(info.getProcessId(), each.pid) << each.record;
        EXPECT_EQ(HClientProcessInfo().extractHostName(each.record), each.host) << each.record;
        EXPECT_EQ(HClientProcessInfo().extractProcId(each.record), each.pid) << each.record;
    }
}

TEST(HClientProcessInfoTest, IsEqualWhenBothTextsAreEqualByteForByte) {
    const HClientProcessInfo info("1", "host");
    EXPECT_TRUE(info == HClientProcessInfo("1", "host"));
    EXPECT_TRUE(info == HClientProcessInfo(std::string("host:1")));
    EXPECT_FALSE(info == HClientProcessInfo("2", "host"));
    EXPECT_FALSE(info == HClientProcessInfo("1", "Host"));
    EXPECT_FALSE(info == HClientProcessInfo("01", "host"));
    EXPECT_FALSE(info == HClientProcessInfo("host", "1"));
}

}  // namespace

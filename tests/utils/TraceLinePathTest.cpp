#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptUtils.h"

namespace {

std::string withoutPath(std::string text) {
    HCrashRptUtils::removeFullPathToLibrary(text.data());
    return text.c_str();
}

}  // namespace

TEST(TraceLinePathTest, CutsEverythingUpToTheLastSlash) {
    const struct {
        const char* line;
        const char* expected;
    } cases[] = {
        {"/usr/lib64/libc.so.6(abort+0x12b)[0x7f00]", "libc.so.6(abort+0x12b)[0x7f00]"},
        {"/opt/app/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]",
         "libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]"},
        {"./prog(main+0x10)[0x400000]", "prog(main+0x10)[0x400000]"},
        {"prog(main+0x10)[0x400000]", "prog(main+0x10)[0x400000]"},
        // What stands in front of the path goes with it.
        {"#3 /opt/lib/libfoo.so(f+0x1)", "libfoo.so(f+0x1)"},
        // The only slash leads: it stays.
        {"/prog(main+0x10)", "/prog(main+0x10)"},
        {"/", "/"},
        {"//prog", "prog"},
        {"a/", ""},
        {"/opt/lib/", ""},
        {"//", ""},
        {"", ""},
        {"x", "x"},
        {"a/b", "b"},
        {"line with\nfeed/rest\n", "rest\n"},
    };
    for (const auto& each : cases) EXPECT_EQ(withoutPath(each.line), each.expected) << each.line;
}

TEST(TraceLinePathTest, WorksInPlaceAndStaysInsideTheText) {
    char buffer[] = "dir/name\0guard";
    HCrashRptUtils::removeFullPathToLibrary(buffer);
    EXPECT_STREQ(buffer, "name");
    EXPECT_STREQ(buffer + 9, "guard");
}

TEST(TraceLinePathTest, LongOverlappingTextMovesWhole) {
    std::string name;
    for (int i = 0; i < 100000; ++i) name += static_cast<char>('a' + i % 26);
    EXPECT_TRUE(withoutPath("d/" + name) == name);
}

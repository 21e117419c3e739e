#include <gtest/gtest.h>

#include <string>

#include "hcrpt/HCrashRptUtils.h"
#include "utils/LineDemangler.h"

namespace {

struct LineCase {
    const char* line;
    const char* expected;
};

void expectDemangled(const LineCase& each) {
    EXPECT_EQ(HCrashRptUtils::demangle(each.line), each.expected) << each.line;
}

void expectUnchanged(const std::string& line) {
    EXPECT_EQ(HCrashRptUtils::demangle(line), line) << line;
}

}  // namespace

TEST(TraceLineDemanglingTest, NameBetweenParenthesisAndPlusBecomesReadable) {
    const LineCase cases[] = {
        {"libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]", "libfoo.so(foo::bar()+0x1a)[0x7f00]"},
        {"libfoo.so(_Z3addii+0x0)[0x1]", "libfoo.so(add(int, int)+0x0)[0x1]"},
        {"(_Z1fv+", "(f()+"},
        // Only the first parenthesis and the first plus count.
        {"a(_Z1fv+0x1)(_Z1gv+0x2)+", "a(f()+0x1)(_Z1gv+0x2)+"},
        // Paths are not this function's matter.
        {"/opt/lib/libfoo.so(_ZN3foo3barEv+0x1a)", "/opt/lib/libfoo.so(foo::bar()+0x1a)"},
        {"lib.so(_ZN3foopLERKS_+0x1)", "lib.so(foo::operator+=(foo const&)+0x1)"},
    };
    for (const LineCase& each : cases) expectDemangled(each);
}

TEST(TraceLineDemanglingTest, LinesWithoutAMangledNameStayAsTheyAre) {
    for (const char* line :
         {"", "libc.so.6(abort+0x12b)[0x7f00]", "libfoo.so(+0x1a)[0x7f00]", "libfoo.so(_Z+0x1)",
          "libfoo.so()[0x7f00]", "libfoo.so[0x7f00]", "_ZN3foo3barEv+0x1a",
          "libfoo.so(_ZN3foo3barEv)", "libfoo.so(_ZN3foo3barEv", "(", "+", "+(",
          "libfoo.so(_ZN3foo3barEv 0x1)+", "libfoo.so( _ZN3foo3barEv+0x1a)",
          "libfoo.so(_ZN3foo3bar+0x1a)"})
        expectUnchanged(line);
}

TEST(TraceLineDemanglingTest, PlusInTheLibrarysNameHidesTheFunction) {
    expectUnchanged("libstdc++.so.6(_ZSt9terminatev+0x1)[0x7f00]");
    expectUnchanged("libx++.so(_Z1fv+0x1)[0x7f00]");
}

TEST(TraceLineDemanglingTest, PlusBeforeTheParenthesisMakesTheWholeRestTheName) {
    // The length wraps around; a rest that is a mangled name is replaced, then the line follows
    // from its first plus on.
    expectDemangled({"libx++.so(_Z1fv", "libx++.so(f()++.so(_Z1fv"});
    expectDemangled({"+(_Z1fv", "+(f()+(_Z1fv"});
}

TEST(TraceLineDemanglingTest, WhateverTheDemanglerAcceptsIsReplaced) {
    // It takes type encodings as well, which some one-letter functions happen to look like.
    expectDemangled({"libm.so(i+0x1)", "libm.so(int+0x1)"});
}

TEST(TraceLineDemanglingTest, LongLinesPassUnharmed) {
    expectUnchanged(std::string(1000000, 'x'));
    expectUnchanged("lib.so(" + std::string(100000, 'x') + "+0x1)");
    const std::string name(900, 'n');
    EXPECT_TRUE(HCrashRptUtils::demangle("lib.so(_Z900" + name + "v+0x1)") ==
                "lib.so(" + name + "()+0x1)");
}

TEST(TraceLineDemanglingTest, BothStepsMakeARawLineReadable) {
    std::string line = "/opt/app/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f3a2c1d4e5f]";
    HCrashRptUtils::removeFullPathToLibrary(line.data());
    EXPECT_EQ(HCrashRptUtils::demangle(line.c_str()), "libfoo.so(foo::bar()+0x1a)[0x7f3a2c1d4e5f]");
}

TEST(LineDemanglerTest, LinesAreAppendedWhateverNamesWereMetBefore) {
    hcrpt::LineDemangler demangler;
    std::string text;
    for (const char* line : {"a(_Z1fv+0x1)\n", "b(_Z1gv+0x2)\n", "c(_Z1fv+0x3)\n", "d(main+0x4)\n"})
        demangler.append(line, text);
    EXPECT_EQ(text, "a(f()+0x1)\nb(g()+0x2)\nc(f()+0x3)\nd(main+0x4)\n");
}

TEST(LineDemanglerTest, MoreNamesThanItKeepsAreStillMadeReadable) {
    hcrpt::LineDemangler demangler;
    for (int round = 0; round < 2; ++round) {
        for (int i = 10000; i < 20000; ++i) {
            const std::string name = "f" + std::to_string(i);
            std::string text;
            demangler.append("a(_Z6" + name + "v+0x1)", text);
            ASSERT_EQ(text, "a(" + name + "()+0x1)");
        }
    }
}

TEST(LineDemanglerTest, LongNamesAreMadeReadableEachTime) {
    hcrpt::LineDemangler demangler;
    const std::string name(900, 'n');
    for (int round = 0; round < 2; ++round) {
        std::string text;
        demangler.append("a(_Z900" + name + "v+0x1)", text);
        EXPECT_EQ(text, "a(" + name + "()+0x1)");
    }
}

#include <gtest/gtest.h>

#include <functional>

#include "posix/FactParsers.h"

namespace {

using std::string;

const char* const kPasswd =
    "# local accounts\n"
    "root:x:0:0:root:/root:/bin/bash\n"
    "+nis:x:1000:::/elsewhere:\n"
    "short:x:1000\n"
    "alice:x:1000:1000:Alice,,,:/home/alice:/bin/sh\n"
    "second:x:1000:1000::/home/second:/bin/sh\n"
    "bob:x:10001:100::/home/bob:/bin/sh";

TEST(PasswdTest, TheFirstWholeEntryOfTheUidIsTaken) {
    EXPECT_EQ(facts::accountOf(1000, kPasswd).name, "alice");
    EXPECT_EQ(facts::accountOf(1000, kPasswd).home, "/home/alice");
    EXPECT_EQ(facts::accountOf(0, kPasswd).name, "root");
}

TEST(PasswdTest, ALastLineWithoutLineFeedCounts) {
    EXPECT_EQ(facts::accountOf(10001, kPasswd).name, "bob");
}

TEST(PasswdTest, AnUnknownUidHasNoEntry) {
    EXPECT_EQ(facts::accountOf(100, kPasswd).name, "");
    EXPECT_EQ(facts::accountOf(1, kPasswd).name, "");
    EXPECT_EQ(facts::accountOf(0, "").name, "");
}

TEST(UserNameTest, TheAccountComesBeforeTheEnvironment) {
    EXPECT_EQ(facts::userName("alice", "log", "user", 7), "alice");
    EXPECT_EQ(facts::userName("", "log", "user", 7), "log");
    EXPECT_EQ(facts::userName("", nullptr, "user", 7), "user");
    EXPECT_EQ(facts::userName("", "", nullptr, 7), "7");
}

/// Letters and digits; bytes, whatever their sign.
bool isAlphanumeric(int byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9');
}

TEST(UserNameTest, EveryByteIsKeptReplacedOrNoNameAtAll) {
    for (int byte = 1; byte < 256; ++byte) {
        const string name = string("a") + static_cast<char>(byte) + "z";
        const bool isUnusable = byte == '/' || byte < 0x20 || byte == 0x7f;
        const bool isKept = isAlphanumeric(byte) || byte >= 0x80 ||
                            string("._-@+").find(static_cast<char>(byte)) != string::npos;
        const string expected = isUnusable ? "log" : isKept ? name : "a_z";
        EXPECT_EQ(facts::userName(name, "log", "user", 7), expected) << byte;
        EXPECT_EQ(facts::userName("", name.c_str(), "log", 7), expected) << byte;
    }
    EXPECT_EQ(facts::userName("../etc", "a\nb", "x\x7f", 7), "7");
}

TEST(HostNameTest, ForeignCharactersBecomeUnderscores) {
    EXPECT_EQ(facts::hostName("host-1.veltra.example"), "host-1.veltra.example");
    for (int byte = 1; byte < 256; ++byte) {
        const string name = string("a") + static_cast<char>(byte) + "z";
        const bool isKept = isAlphanumeric(byte) || byte == '.' || byte == '_' || byte == '-';
        EXPECT_EQ(facts::hostName(name), isKept ? name : "a_z") << byte;
    }
}

TEST(HostNameTest, AMachineWithoutNameIsTheLocalHost) {
    EXPECT_EQ(facts::hostName(""), "localhost");
    EXPECT_EQ(facts::hostName("(none)"), "localhost");
}

TEST(DomainTest, TheHostNameComesFirstThenTheKernelThenTheResolver) {
    EXPECT_EQ(facts::domainName("h.a.example", "k.example", "search r.example"), "a.example");
    EXPECT_EQ(facts::domainName("h", "k.example", "search r.example"), "k.example");
    EXPECT_EQ(facts::domainName("h", "(none)", "search r.example"), "r.example");
    EXPECT_EQ(facts::domainName("h.", "", "search r.example"), "r.example");
    EXPECT_EQ(facts::domainName("h", "", ""), "");
}

TEST(DomainTest, ADomainThatAShellWouldActOnIsPassedOver) {
    EXPECT_EQ(facts::domainName("h", "(none)", "search $(touch${IFS}x)"), "");
    EXPECT_EQ(facts::domainName("h.a;b", "k.example", ""), "k.example");
}

TEST(DomainTest, TheDotAtTheEndIsDropped) {
    EXPECT_EQ(facts::domainName("h.a.example.", "", ""), "a.example");
    EXPECT_EQ(facts::domainName("h", "", "search ."), "");
}

TEST(ResolvConfTest, TheLastDomainOrSearchLineCounts) {
    EXPECT_EQ(facts::resolvConfDomain("domain a.example\nsearch b.example c.example\n"),
              "b.example");
    EXPECT_EQ(facts::resolvConfDomain("search b.example\ndomain\ta.example\n"), "a.example");
}

TEST(ResolvConfTest, CommentsOtherKeywordsAndIndentedLinesDoNotCount) {
    EXPECT_EQ(facts::resolvConfDomain("search a.example\n"
                                      "#search b.example\n"
                                      ";domain b.example\n"
                                      " search b.example\n"
                                      "\tdomain b.example\n"
                                      "searching b.example\n"
                                      "nameserver 192.0.2.1\n"
                                      "search\n"),
              "a.example");
    EXPECT_EQ(facts::resolvConfDomain(""), "");
}

TEST(InsideDomainTest, TheDomainItselfAndWhatLiesBelowItAreInside) {
    EXPECT_TRUE(facts::isInsideDomain("veltra.example", "veltra.example"));
    EXPECT_TRUE(facts::isInsideDomain("eu.veltra.example", "veltra.example"));
    EXPECT_TRUE(facts::isInsideDomain("EU.Veltra.Example", "veltra.EXAMPLE"));
}

TEST(InsideDomainTest, OtherDomainsAreOutside) {
    EXPECT_FALSE(facts::isInsideDomain("notveltra.example", "veltra.example"));
    EXPECT_FALSE(facts::isInsideDomain("veltra.example.org", "veltra.example"));
    EXPECT_FALSE(facts::isInsideDomain("example", "veltra.example"));
    EXPECT_FALSE(facts::isInsideDomain("", "veltra.example"));
    EXPECT_FALSE(facts::isInsideDomain("", ""));
}

TEST(CommandLineTest, ArgumentsAreJoinedBySingleBlanks) {
    EXPECT_EQ(facts::commandLine(string("/bin/host\0-source\0x.tcl\0", 24)),
              "/bin/host -source x.tcl");
    EXPECT_EQ(facts::commandLine(string("host\0\0last\0", 11)), "host  last");
    EXPECT_EQ(facts::commandLine(""), "");
}

TEST(CommandLineTest, TheResultIsOneLine) {
    EXPECT_EQ(facts::commandLine(string("host\0a\nb\rc\0", 11)), "host a b c");
}

TEST(ProductDirectoryTest, NameIsLowerCaseAndPlain) {
    EXPECT_EQ(facts::productDirectoryName("Designer"), "designer");
    EXPECT_EQ(facts::productDirectoryName("My Tool/2 (x86-64)"), "my_tool_2__x86-64_");
    EXPECT_EQ(facts::productDirectoryName(""), "zeb");
}

TEST(ProductDirectoryTest, NameNeverLeadsOutOfItsDirectory) {
    EXPECT_EQ(facts::productDirectoryName(".."), "_.");
    EXPECT_EQ(facts::productDirectoryName("."), "_");
    EXPECT_EQ(facts::productDirectoryName("../x"), "_._x");
}

TEST(QuotesTest, OnlyPathsOfPlainCharactersNeedNone) {
    EXPECT_TRUE(facts::needsNoQuotes("/tmp/user-1000/a_b.c@d"));
    for (const char* path : {"/a b", "/a;b", "/a$b", "/a'b", "/a\"b", "/a&b", "/a>b", "/a\nb",
                             "/a*b", "/a\\b", "/a`b`", "/a(b)", "/a|b", "/~"})
        EXPECT_FALSE(facts::needsNoQuotes(path)) << path;
}

/// All bytes but NUL, each between two letters.
void forEachByte(const std::function<void(char, const std::string&)>& check) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        SCOPED_TRACE(byte);
        check(c, std::string("a") + c + "b");
    }
}

const std::string kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
const std::string kDigits = "0123456789";

bool isIn(char c, const std::string& set) {
    return set.find(c) != std::string::npos;
}
bool isHigh(char c) {
    return static_cast<unsigned char>(c) > 127;
}

TEST(EveryByteTest, OfAProductsNameIsMadeLowerCaseKeptOrReplaced) {
    forEachByte([](char c, const std::string& name) {
        const std::size_t letter = kLetters.find(c);
        const std::string expected = letter != std::string::npos
                                         ? std::string("a") + kLetters[letter % 26] + "b"
                                     : isIn(c, kDigits + "._-") ? name
                                                                : "a_b";
        EXPECT_EQ(facts::productDirectoryName(name), expected);
    });
}

TEST(EveryByteTest, OfAPathNeedsQuotesOrNot) {
    forEachByte([](char c, const std::string& path) {
        EXPECT_EQ(facts::needsNoQuotes(path),
                  isIn(c, kLetters + kDigits + "._-@+/:,=") || isHigh(c));
    });
}

TEST(EveryByteTest, OfADomainIsPlainOrTheDomainIsPassedOver) {
    forEachByte([](char c, const std::string& domain) {
        const bool plain = isIn(c, kLetters + kDigits + "._-");
        EXPECT_EQ(facts::domainName("host", domain.c_str(), ""), plain ? domain : "");
    });
}

}  // namespace

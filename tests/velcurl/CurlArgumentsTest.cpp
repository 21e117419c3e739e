#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "velcurl/CurlArguments.h"

namespace velcurl {
namespace {

using namespace test_support;
using Words = std::vector<std::string>;

/// With the usual bound.
Words curlArguments(const Words& callers, const std::string& connectTo) {
    return velcurl::curlArguments(callers, connectTo, kTotalTimeoutSeconds);
}

const Words kFrame = {"-q", "--http1.1",  "--verbose", "--no-progress-meter", "--connect-timeout",
                      "10", "--max-time", "120"};

Words framed(const Words& callers) {
    Words all = kFrame;
    all.insert(all.end(), callers.begin(), callers.end());
    return all;
}

TEST(CurlArgumentsTest, OursComeFirstAndTheCallersFollowUnchanged) {
    const Words callers = {"--verbose", "-F", "domain=a b;c,d\"e", "", "https://host/?a=@b"};
    EXPECT_EQ(curlArguments(callers, ""), framed(callers));
}

TEST(CurlArgumentsTest, TheCurlrcIsTurnedOffByTheVeryFirstArgument) {
    EXPECT_EQ(curlArguments({"x"}, "a:1:b:2").front(), "-q");
}

TEST(CurlArgumentsTest, CallersBoundsComeAfterOursAndWin) {
    const Words arguments = curlArguments({"--max-time", "5"}, "");
    EXPECT_EQ(arguments, framed({"--max-time", "5"}));
}

TEST(CurlArgumentsTest, TheWholeUploadsBoundIsTheGivenOne) {
    const Words arguments = velcurl::curlArguments({"x"}, "", 7);
    EXPECT_EQ(Words(arguments.end() - 3, arguments.end()), (Words{"--max-time", "7", "x"}));
}

TEST(CurlArgumentsTest, WithAFileOfTrustedAuthoritiesNoDirectoryIsTrusted) {
    EXPECT_EQ(curlArguments({"--cacert", "ca.pem", "x"}, ""),
              framed({"--capath", "/dev/null", "--cacert", "ca.pem", "x"}));
}

TEST(CurlArgumentsTest, AnotherAddressIsOneArgumentAndBypassesProxies) {
    EXPECT_EQ(curlArguments({"x"}, "host:443:127.0.0.1:8443"),
              framed({"--connect-to", "host:443:127.0.0.1:8443", "--noproxy", "*", "x"}));
}

TEST(CurlArgumentsTest, FileOfAFormIsQuotedForCurlAfterEachSpellingOfTheOption) {
    TempDir dir;
    const std::string path = dir / "report.json";
    writeFile(path, "x");
    const std::string given = "file_loc=@" + path;
    const std::string quoted = "file_loc=@\"" + path + "\"";
    EXPECT_EQ(curlArguments({"-F", given, "url"}, ""), framed({"-F", quoted, "url"}));
    EXPECT_EQ(curlArguments({"--form", given, "url"}, ""), framed({"--form", quoted, "url"}));
    EXPECT_EQ(curlArguments({"-F" + given, "url"}, ""), framed({"-F" + quoted, "url"}));
}

TEST(CurlArgumentsTest, OnlyTheArgumentRightAfterTheFormOptionIsAForm) {
    TempDir dir;
    const std::string path = dir / "report.json";
    writeFile(path, "x");
    const std::string field = "file_loc=@" + path;
    const Words callers = {field, "--form-string", field, "-F", "a=b", field};
    EXPECT_EQ(curlArguments(callers, ""), framed(callers));
}

TEST(CurlArgumentsTest, AFieldThatReadsLikeTheOptionIsNotTakenForIt) {
    TempDir dir;
    const std::string path = dir / "report.json";
    writeFile(path, "x");
    const Words callers = {"-F", "-F", "x=@" + path};
    EXPECT_EQ(curlArguments(callers, ""), framed(callers));
}

TEST(CurlArgumentsTest, AFormOptionAtTheEndIsPassedOn) {
    EXPECT_EQ(curlArguments({"-F"}, ""), framed({"-F"}));
}

TEST(TotalTimeoutTest, IsShortenedByWholeSeconds) {
    EXPECT_EQ(totalTimeout("1"), 1);
    EXPECT_EQ(totalTimeout("007"), 7);
    EXPECT_EQ(totalTimeout("119"), 119);
}

TEST(TotalTimeoutTest, IsNeverLengthenedNorSwitchedOff) {
    for (const char* text : {"", "0", "000", "120", "121", "999", "0001", "99999999999999999999",
                             "-1", "+5", "5s", " 5", "5 ", "1.5", "x"})
        EXPECT_EQ(totalTimeout(text), 120) << text;
}

TEST(QuotedFormFieldTest, QuotesAndBackslashesOfAPathAreEscaped) {
    TempDir dir;
    const std::string path = dir / "a;b,c \"d\" \\e.json";
    writeFile(path, "x");
    EXPECT_EQ(quotedFormField("f=@" + path),
              "f=@\"" + dir.path() + "/a;b,c \\\"d\\\" \\\\e.json\"");
}

TEST(QuotedFormFieldTest, APathWithAnEqualsOrAtSignIsOnePath) {
    TempDir dir;
    const std::string path = dir / "a=@b";
    writeFile(path, "x");
    EXPECT_EQ(quotedFormField("f=@" + path), "f=@\"" + path + "\"");
}

TEST(QuotedFormFieldTest, CurlsOwnFormsKeepTheirMeaning) {
    TempDir dir;
    const std::string path = dir / "report.json";
    writeFile(path, "x");
    for (const std::string& field :
         {"f=@" + path + ";type=text/plain", "f=@\"" + path + "\"", "f=<" + path, "f=" + path,
          "@" + path, std::string("f=@/no/such/file"), std::string("f=@"), std::string("f="),
          std::string("f"), std::string(), "f=@" + dir.path()})
        EXPECT_EQ(quotedFormField(field), field);
}

TEST(QuotedFormFieldTest, ADashIsStandardInputEvenBesideAFileOfThatName) {
    TempDir dir;
    writeFile(dir / "-", "x");
    ScopedWorkingDirectory here(dir.path());
    EXPECT_EQ(quotedFormField("f=@-"), "f=@-");
}

}  // namespace
}  // namespace velcurl

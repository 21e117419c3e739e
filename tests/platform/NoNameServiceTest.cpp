#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    char chunk[4096];
    while (pipe && std::fgets(chunk, sizeof chunk, pipe.get())) text += chunk;
    return text;
}

// A name service may hang for minutes when its server is away, and the crashing process asks for
// facts: no way to such a call may come into the library.
TEST(NoNameServiceTest, TheLibraryCallsNoneOfTheLookUps) {
    const std::string symbols =
        outputOf("'" HCRPT_NM "' -D --undefined-only '" ZEB_COMMON_LIBRARY "'");
    ASSERT_NE(symbols.find("uname"), std::string::npos) << symbols;
    for (const char* lookUp : {"getpw", "getgr", "gethostby", "getaddrinfo", "getnameinfo", "res_",
                               "wordexp", "getlogin", "cuserid", "socket"})
        EXPECT_EQ(symbols.find(std::string(" ") + lookUp), std::string::npos) << lookUp;
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/TempDir.h"
#include "velcurl/CurlProgram.h"

namespace velcurl {
namespace {

using namespace test_support;

TEST(CurlProgramTest, TheSystemsPlacesAreAbsoluteAndUsrBinIsFirst) {
    EXPECT_EQ(systemPlaces().front(), "/usr/bin/curl");
    for (const std::string& place : systemPlaces()) EXPECT_EQ(place.front(), '/') << place;
}

TEST(CurlProgramTest, TheFirstExecutableFileIsTaken) {
    TempDir dir;
    writeFile(dir / "plain", "");
    chmod((dir / "plain").c_str(), 0644);
    std::filesystem::create_directory(dir / "directory");
    for (const char* name : {"first", "second"}) {
        writeFile(dir / name, "");
        chmod((dir / name).c_str(), 0755);
    }
    EXPECT_EQ(findCurl({dir / "missing", dir / "plain", dir / "directory", dir / "first",
                        dir / "second"}),
              dir / "first");
}

TEST(CurlProgramTest, IsNothingWhenNoPlaceHasAnExecutableFile) {
    TempDir dir;
    EXPECT_EQ(findCurl({dir / "missing", dir.path()}), std::nullopt);
    EXPECT_EQ(findCurl({}), std::nullopt);
}

}  // namespace
}  // namespace velcurl

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "base/FileIdentity.h"
#include "support/TempDir.h"

namespace {

using hcrpt::isSameFile;
using test_support::TempDir;
using test_support::writeFile;

struct stat statusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

TEST(FileIdentityTest, AFileStaysTheSameUnderAnotherName) {
    const TempDir directory;
    writeFile(directory / "one", "text");
    const struct stat before = statusOf(directory / "one");
    std::filesystem::create_hard_link(directory / "one", directory / "link");
    std::filesystem::rename(directory / "one", directory / "other");
    EXPECT_TRUE(isSameFile(before, statusOf(directory / "other")));
    EXPECT_TRUE(isSameFile(before, statusOf(directory / "link")));
}

TEST(FileIdentityTest, EqualContentIsNotTheSameFile) {
    const TempDir directory;
    writeFile(directory / "one", "text");
    writeFile(directory / "other", "text");
    EXPECT_FALSE(isSameFile(statusOf(directory / "one"), statusOf(directory / "other")));
}

TEST(FileIdentityTest, TheSameInodeOfAnotherDeviceIsAnotherFile) {
    struct stat one = {};
    one.st_dev = 1;
    one.st_ino = 7;
    struct stat other = one;
    other.st_dev = 2;
    EXPECT_FALSE(isSameFile(one, other));
    EXPECT_TRUE(isSameFile(one, one));
}

}  // namespace

#include <gtest/gtest.h>

#include "posix/PathText.h"

namespace {

TEST(PathTextTest, TrailingSlashesGoButTheRootStays) {
    EXPECT_EQ(path_text::withoutTrailingSlashes("/a/b//"), "/a/b");
    EXPECT_EQ(path_text::withoutTrailingSlashes("a"), "a");
    EXPECT_EQ(path_text::withoutTrailingSlashes("///"), "/");
    EXPECT_EQ(path_text::withoutTrailingSlashes(""), "");
}

TEST(PathTextTest, TheLastComponentDoesNotCountSlashesBehindIt) {
    EXPECT_EQ(path_text::lastComponent("/a/b.log"), "b.log");
    EXPECT_EQ(path_text::lastComponent("/a/b/"), "b");
    EXPECT_EQ(path_text::lastComponent("b"), "b");
    EXPECT_EQ(path_text::lastComponent("/"), "");
    EXPECT_EQ(path_text::lastComponent(""), "");
}

TEST(PathTextTest, TheParentOfABareNameIsTheWorkingDirectory) {
    EXPECT_EQ(path_text::parentDirectory("b"), ".");
    EXPECT_EQ(path_text::parentDirectory("/b"), "/");
    EXPECT_EQ(path_text::parentDirectory("/a//b/"), "/a");
    EXPECT_EQ(path_text::parentDirectory("a/b"), "a");
}

TEST(PathTextTest, TheRootIsAboveTheDirectoryOfThePrograms) {
    EXPECT_EQ(path_text::installationRoot("/opt/p/bin/unwrapped/lnx64.o/host"), "/opt/p");
    EXPECT_EQ(path_text::installationRoot("/bin/unwrapped/lnx64.o/host"), "/");
}

TEST(PathTextTest, AProgramElsewhereHasItsOwnDirectoryAsRoot) {
    EXPECT_EQ(path_text::installationRoot("/usr/bin/host"), "/usr/bin");
    EXPECT_EQ(path_text::installationRoot("/opt/bin/unwrapped/lnx64.o/deeper/host"),
              "/opt/bin/unwrapped/lnx64.o/deeper");
    EXPECT_EQ(path_text::installationRoot("/opt/xbin/unwrapped/lnx64.o/host"),
              "/opt/xbin/unwrapped/lnx64.o");
    EXPECT_EQ(path_text::installationRoot(""), "");
}

}  // namespace

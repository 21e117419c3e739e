#include <gtest/gtest.h>
#include <unistd.h>

#include "HUTFile.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

std::string canonical(const std::string& path) {
    std::string out = "what was there before";
    HUTFile(path).getCanonicalName(out);
    return out;
}

TEST(CanonicalNameTest, TheEmptyPathGivesAnEmptyOne) {
    EXPECT_EQ(canonical(""), "");
}

TEST(CanonicalNameTest, LinksOfWhatExistsAreResolved) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "real/sub").mkDirRecursive());
    writeFile(dir / "real/sub/f", "");
    ASSERT_EQ(symlink("real", (dir / "link").c_str()), 0);
    EXPECT_EQ(canonical(dir / "link/sub/f"), dir / "real/sub/f");
    EXPECT_EQ(canonical(dir / "link/sub/.."), dir / "real");
}

TEST(CanonicalNameTest, WhatDoesNotExistYetIsNormalised) {
    const TempDir dir;
    EXPECT_EQ(canonical(dir / "a//b/./c/../d/"), dir / "a/b/d");
    EXPECT_EQ(canonical(dir / "missing"), dir / "missing");
}

TEST(CanonicalNameTest, TheExistingPartOfAMissingPathIsResolved) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "real").mkDir());
    ASSERT_EQ(symlink("real", (dir / "link").c_str()), 0);
    EXPECT_EQ(canonical(dir / "link/new/dir"), dir / "real/new/dir");
}

TEST(CanonicalNameTest, DotDotBehindSomethingMissingLeadsBackToWhatExists) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "real").mkDir());
    ASSERT_EQ(symlink("real", (dir / "link").c_str()), 0);
    EXPECT_EQ(canonical(dir / "missing/../link/new"), dir / "real/new");
}

TEST(CanonicalNameTest, RelativePathsBeginInTheWorkingDirectory) {
    const TempDir dir;
    const test_support::ScopedWorkingDirectory inside(dir.path());
    EXPECT_EQ(canonical("x/y"), dir / "x/y");
    EXPECT_EQ(canonical("."), dir.path());
    EXPECT_EQ(canonical("./new/.."), dir.path());
}

TEST(CanonicalNameTest, TheRootIsTheHighestPlace) {
    EXPECT_EQ(canonical("/"), "/");
    EXPECT_EQ(canonical("//"), "/");
    EXPECT_EQ(canonical("/../.."), "/");
    EXPECT_EQ(canonical("/no-such-directory/../../.."), "/");
    EXPECT_EQ(canonical("/no-such-directory/x"), "/no-such-directory/x");
}

TEST(CanonicalNameTest, LinksThatLeadNowhereOrInCirclesStay) {
    const TempDir dir;
    ASSERT_EQ(symlink("nowhere", (dir / "dangling").c_str()), 0);
    ASSERT_EQ(symlink("circle2", (dir / "circle1").c_str()), 0);
    ASSERT_EQ(symlink("circle1", (dir / "circle2").c_str()), 0);
    EXPECT_EQ(canonical(dir / "dangling/x"), dir / "dangling/x");
    EXPECT_EQ(canonical(dir / "circle1/x/../y"), dir / "circle1/y");
}

TEST(CanonicalNameTest, ARelativePathWithoutWorkingDirectoryGivesAnEmptyOne) {
    const TempDir dir;
    auto child = test_support::ChildProcess::fork([&] {
        if (chdir(dir.path().c_str()) != 0 || rmdir(dir.path().c_str()) != 0) return 2;
        return canonical("x").empty() && canonical("/usr/../x") == "/x" ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), test_support::exitedWith(0));
}

}  // namespace

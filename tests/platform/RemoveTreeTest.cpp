#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "HUTFile.h"
#include "platform/OrdinaryUser.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

bool isThere(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0;
}

TEST(RmTest, RemovesAFileOnceOnly) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_TRUE(HUTFile(dir / "f").rm());
    EXPECT_FALSE(isThere(dir / "f"));
    EXPECT_FALSE(HUTFile(dir / "f").rm());
}

TEST(RmTest, RemovesALinkAndLeavesItsTarget) {
    const TempDir dir;
    writeFile(dir / "target", "kept");
    ASSERT_EQ(symlink("target", (dir / "link").c_str()), 0);
    EXPECT_TRUE(HUTFile(dir / "link").rm());
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{"target"});
}

TEST(RmTest, LeavesADirectory) {
    const TempDir dir;
    EXPECT_FALSE(HUTFile(dir.path()).rm());
    EXPECT_TRUE(isThere(dir.path()));
}

TEST(RmRecursiveTest, RemovesADirectoryWithAllThatIsInIt) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "tree/a/b").mkDirRecursive());
    ASSERT_TRUE(HUTFile(dir / "tree/empty").mkDir());
    for (int i = 0; i < 500; ++i) writeFile(dir / ("tree/a/" + std::to_string(i)), "x");
    writeFile(dir / "tree/.hidden", "");
    ASSERT_EQ(mkfifo((dir / "tree/fifo").c_str(), 0600), 0);
    EXPECT_TRUE(HUTFile(dir / "tree").rmRecursive());
    EXPECT_FALSE(isThere(dir / "tree"));
}

TEST(RmRecursiveTest, RemovesADeepTree) {
    const TempDir dir;
    std::string path = dir / "tree";
    for (int depth = 0; depth < 200; ++depth) path += "/d";
    ASSERT_TRUE(HUTFile(path).mkDirRecursive());
    EXPECT_TRUE(HUTFile(dir / "tree").rmRecursive());
    EXPECT_FALSE(isThere(dir / "tree"));
}

TEST(RmRecursiveTest, RemovesAPlainFile) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_TRUE(HUTFile(dir / "f").rmRecursive());
    EXPECT_FALSE(isThere(dir / "f"));
}

TEST(RmRecursiveTest, NothingIsLeftOfWhatWasNeverThere) {
    const TempDir dir;
    EXPECT_TRUE(HUTFile(dir / "missing").rmRecursive());
    EXPECT_TRUE(HUTFile(dir / "missing/below").rmRecursive());
}

TEST(RmRecursiveTest, LinksInTheTreeAreRemovedAndNotFollowed) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "outside").mkDir());
    writeFile(dir / "outside/f", "kept");
    writeFile(dir / "file", "kept");
    ASSERT_TRUE(HUTFile(dir / "tree/sub").mkDirRecursive());
    ASSERT_EQ(symlink("../outside", (dir / "tree/dirlink").c_str()), 0);
    ASSERT_EQ(symlink((dir / "file").c_str(), (dir / "tree/sub/filelink").c_str()), 0);
    ASSERT_EQ(symlink("nowhere", (dir / "tree/dangling").c_str()), 0);
    EXPECT_TRUE(HUTFile(dir / "tree").rmRecursive());
    EXPECT_EQ(namesIn(dir.path()), (std::vector<std::string>{"file", "outside"}));
    EXPECT_EQ(namesIn(dir / "outside"), std::vector<std::string>{"f"});
}

TEST(RmRecursiveTest, APathThatIsALinkLosesTheLinkOnly) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "outside").mkDir());
    writeFile(dir / "outside/f", "kept");
    for (const char* path : {"link", "link/", "link//"}) {
        ASSERT_EQ(symlink("outside", (dir / "link").c_str()), 0);
        EXPECT_TRUE(HUTFile(dir / path).rmRecursive()) << path;
        EXPECT_FALSE(isThere(dir / "link")) << path;
        EXPECT_EQ(namesIn(dir / "outside"), std::vector<std::string>{"f"}) << path;
    }
}

TEST(RmRecursiveTest, ALinkThatCannotBeRemovedIsNotFollowedEither) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "outside").mkDir());
    writeFile(dir / "outside/f", "kept");
    ASSERT_TRUE(HUTFile(dir / "fixed").mkDir());
    ASSERT_EQ(symlink("../outside", (dir / "fixed/link").c_str()), 0);
    const std::string fixed = dir / "fixed";
    EXPECT_FALSE(asOrdinaryUser(dir.path(), [&] {
        return chmod(fixed.c_str(), 0500) != 0 || HUTFile(fixed + "/link").rmRecursive();
    }));
    EXPECT_EQ(namesIn(dir / "outside"), std::vector<std::string>{"f"});
}

TEST(RmRecursiveTest, ReadOnlyAndUnreadableDirectoriesOfTheUserGoToo) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "tree/readonly/sub").mkDirRecursive());
    ASSERT_TRUE(HUTFile(dir / "tree/closed/sub").mkDirRecursive());
    writeFile(dir / "tree/readonly/f", "");
    writeFile(dir / "tree/closed/f", "");
    ASSERT_EQ(chmod((dir / "tree/readonly").c_str(), 0500), 0);
    const std::string tree = dir / "tree";
    EXPECT_TRUE(asOrdinaryUser(dir.path(), [&] {
        return chmod((tree + "/closed").c_str(), 0) == 0 && HUTFile(tree).rmRecursive();
    }));
    EXPECT_FALSE(isThere(tree));
}

TEST(RmRecursiveTest, GoesOnAfterAFailureAndTellsOfIt) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "fixed/tree/sub").mkDirRecursive());
    writeFile(dir / "fixed/tree/f", "");
    const std::string fixed = dir / "fixed";
    // The directory above forbids the removal of the tree itself, not of what is in it.
    EXPECT_FALSE(asOrdinaryUser(dir.path(), [&] {
        return chmod(fixed.c_str(), 0500) != 0 || HUTFile(fixed + "/tree").rmRecursive();
    }));
    EXPECT_TRUE(isThere(fixed + "/tree"));
    EXPECT_TRUE(namesIn(fixed + "/tree").empty());
}

TEST(RmRecursiveTest, AnotherUsersDirectoryIsTriedOnceAndLeft) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to give files away";
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "tree/theirs").mkDirRecursive());
    writeFile(dir / "tree/theirs/f", "kept");
    const uid_t nobody = 65534;
    for (const std::string& path : {dir.path(), dir / "tree"})
        ASSERT_EQ(chown(path.c_str(), nobody, nobody), 0);
    ChildProcess child = ChildProcess::fork([&] {
        if (setuid(nobody) != 0) return 2;
        return HUTFile(dir / "tree").rmRecursive() ? 1 : 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(readFile(dir / "tree/theirs/f"), "kept");
}

TEST(RmRecursiveTest, DotNamesAndTheEmptyPathAreLeftAlone) {
    const TempDir dir;
    ASSERT_TRUE(HUTFile(dir / "a/b").mkDirRecursive());
    for (const std::string& path : {dir / "a/.", dir / "a/b/..", std::string()})
        EXPECT_FALSE(HUTFile(path).rmRecursive()) << path;
    EXPECT_TRUE(isThere(dir / "a/b"));
}

}  // namespace

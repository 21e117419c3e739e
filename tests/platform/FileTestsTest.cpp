#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HUTFile.h"
#include "platform/OrdinaryUser.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

TEST(HUTFileExistsTest, FilesAndDirectoriesExist) {
    const TempDir dir;
    writeFile(dir / "f", "");
    for (const std::string& path : {dir.path(), dir / "f", dir.path() + "/"}) {
        EXPECT_TRUE(HUTFile::exists(path)) << path;
        EXPECT_TRUE(HUTFile(path).exists()) << path;
    }
    for (const std::string& path : {dir / "missing", dir / "f/below", std::string()}) {
        EXPECT_FALSE(HUTFile::exists(path)) << path;
        EXPECT_FALSE(HUTFile(path).exists()) << path;
    }
}

TEST(HUTFileExistsTest, ALinkExistsWhenItsTargetDoes) {
    const TempDir dir;
    ASSERT_EQ(symlink("target", (dir / "link").c_str()), 0);
    EXPECT_FALSE(HUTFile::exists(dir / "link"));
    writeFile(dir / "target", "");
    EXPECT_TRUE(HUTFile::exists(dir / "link"));
}

TEST(HUTFileIsDirTest, OnlyDirectoriesAndLinksToThemAre) {
    const TempDir dir;
    writeFile(dir / "f", "");
    ASSERT_EQ(symlink(dir.path().c_str(), (dir / "link").c_str()), 0);
    EXPECT_TRUE(HUTFile(dir.path()).isDir());
    EXPECT_TRUE(HUTFile(dir / "link").isDir());
    EXPECT_FALSE(HUTFile(dir / "f").isDir());
    EXPECT_FALSE(HUTFile(dir / "missing").isDir());
}

TEST(HUTFileIsExecutableTest, ARegularFileWithExecutePermissionIs) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_FALSE(HUTFile(dir / "f").isExecutable());
    ASSERT_EQ(chmod((dir / "f").c_str(), 0700), 0);
    EXPECT_TRUE(HUTFile(dir / "f").isExecutable());
}

TEST(HUTFileIsExecutableTest, ADirectoryIsNot) {
    const TempDir dir;
    EXPECT_FALSE(HUTFile(dir.path()).isExecutable());
    EXPECT_FALSE(HUTFile(dir / "missing").isExecutable());
}

TEST(HUTFileIsExecutableTest, SomebodyElsesPermissionDoesNotCount) {
    const TempDir dir;
    writeFile(dir / "f", "");
    ASSERT_EQ(chmod((dir / "f").c_str(), 0677), 0);
    EXPECT_FALSE(asOrdinaryUser(dir.path(), [&] { return HUTFile(dir / "f").isExecutable(); }));
}

TEST(HUTFileIsWriteableTest, AnExistingFileIs) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_TRUE(HUTFile::isWriteable(dir / "f"));
}

TEST(HUTFileIsWriteableTest, ANewNameInAWriteableDirectoryIsAndIsNotMade) {
    const TempDir dir;
    EXPECT_TRUE(HUTFile::isWriteable(dir / "new"));
    EXPECT_FALSE(HUTFile::exists(dir / "new"));
}

TEST(HUTFileIsWriteableTest, ABareNameIsLookedAtInTheWorkingDirectory) {
    const TempDir dir;
    const test_support::ScopedWorkingDirectory inside(dir.path());
    EXPECT_TRUE(HUTFile::isWriteable("new"));
    EXPECT_FALSE(HUTFile::isWriteable("sub/new"));
}

TEST(HUTFileIsWriteableTest, DirectoriesAndOtherKindsAreNot) {
    const TempDir dir;
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    EXPECT_FALSE(HUTFile::isWriteable(dir.path()));
    EXPECT_FALSE(HUTFile::isWriteable(dir / "fifo"));
    EXPECT_FALSE(HUTFile::isWriteable("/dev/null"));
}

TEST(HUTFileIsWriteableTest, NothingBelowAMissingDirectoryOrAFileIs) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_FALSE(HUTFile::isWriteable(dir / "missing/new"));
    EXPECT_FALSE(HUTFile::isWriteable(dir / "f/new"));
    EXPECT_FALSE(HUTFile::isWriteable(dir / "new/"));
    EXPECT_FALSE(HUTFile::isWriteable(""));
}

TEST(HUTFileIsWriteableTest, ALinkThatLeadsNowhereIsNot) {
    const TempDir dir;
    ASSERT_EQ(symlink("target", (dir / "link").c_str()), 0);
    EXPECT_FALSE(HUTFile::isWriteable(dir / "link"));
    writeFile(dir / "target", "");
    EXPECT_TRUE(HUTFile::isWriteable(dir / "link"));
}

TEST(HUTFileIsWriteableTest, AReadOnlyFileOrDirectoryIsNot) {
    const TempDir dir;
    writeFile(dir / "f", "");
    ASSERT_EQ(chmod((dir / "f").c_str(), 0400), 0);
    ASSERT_EQ(mkdir((dir / "d").c_str(), 0500), 0);
    EXPECT_FALSE(asOrdinaryUser(dir.path(), [&] { return HUTFile::isWriteable(dir / "f"); }));
    EXPECT_FALSE(asOrdinaryUser(dir.path(), [&] { return HUTFile::isWriteable(dir / "d/new"); }));
}

}  // namespace

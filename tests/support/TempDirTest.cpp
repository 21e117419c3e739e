#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;

TEST(TempDirTest, EveryOneIsFreshAndEmpty) {
    const TempDir one, other;
    EXPECT_NE(one.path(), other.path());
    EXPECT_TRUE(fs::is_directory(one.path()));
    EXPECT_TRUE(namesIn(one.path()).empty());
    EXPECT_EQ(one / "a", one.path() + "/a");
}

TEST(TempDirTest, IsRemovedWithUnwriteableDirectoriesButLinksAreNotFollowed) {
    const TempDir outside;
    writeFile(outside / "f", "kept");
    std::string path;
    {
        const TempDir dir;
        path = dir.path();
        fs::create_directories(dir / "a/b");
        writeFile(dir / "a/b/f", "");
        fs::create_directory_symlink(outside.path(), dir / "link");
        fs::permissions(dir / "a", fs::perms::owner_read | fs::perms::owner_exec);
    }
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(readFile(outside / "f"), "kept");
}

TEST(TempDirTest, FilesKeepEveryByte) {
    const TempDir dir;
    const std::string content("a\0b\r\n\xff", 6);
    writeFile(dir / "f", content);
    EXPECT_EQ(readFile(dir / "f"), content);
    writeFile(dir / "f", "x");
    EXPECT_EQ(readFile(dir / "f"), "x");
}

TEST(TempDirTest, AFileThatCannotBeReadOrWrittenFailsTheTest) {
    static const TempDir dir;
    EXPECT_NONFATAL_FAILURE(readFile(dir / "missing"), "cannot read");
    EXPECT_NONFATAL_FAILURE(writeFile(dir / "missing/f", ""), "cannot write");
}

TEST(TempDirTest, NamesAreSorted) {
    const TempDir dir;
    for (const char* name : {"b", "a", "C", ".d"}) writeFile(dir / name, "");
    EXPECT_EQ(namesIn(dir.path()), (std::vector<std::string>{".d", "C", "a", "b"}));
}

TEST(ScopedWorkingDirectoryTest, TheFormerDirectoryComesBack) {
    const TempDir dir;
    const fs::path before = fs::current_path();
    {
        const ScopedWorkingDirectory inside(dir.path());
        EXPECT_EQ(fs::current_path(), dir.path());
    }
    EXPECT_EQ(fs::current_path(), before);
}

}  // namespace

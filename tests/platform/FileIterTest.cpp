#include <gtest/gtest.h>

#include <memory>
#include <set>

#include "HUTFile.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

std::multiset<std::string> pathsIn(const std::string& directory) {
    std::multiset<std::string> paths;
    const std::unique_ptr<HUTFileIter> entries(HUTFile(directory).createFileIter());
    for (; entries->isValid(); entries->next()) paths.insert(entries->getPath());
    return paths;
}

TEST(FileIterTest, YieldsEveryEntryButTheDotsOnce) {
    const TempDir dir;
    writeFile(dir / "f", "");
    writeFile(dir / ".hidden", "");
    ASSERT_TRUE(HUTFile(dir / "sub/below").mkDirRecursive());
    EXPECT_EQ(pathsIn(dir.path()),
              (std::multiset<std::string>{dir / "f", dir / ".hidden", dir / "sub"}));
}

TEST(FileIterTest, ThePathBeginsWithTheDirectoryAsGiven) {
    const TempDir dir;
    writeFile(dir / "f", "");
    const test_support::ScopedWorkingDirectory inside(dir.path());
    EXPECT_EQ(pathsIn("."), std::multiset<std::string>{"./f"});
    EXPECT_EQ(pathsIn(dir.path() + "/"), std::multiset<std::string>{dir.path() + "//f"});
}

TEST(FileIterTest, WhatCannotBeReadHasNoEntries) {
    const TempDir dir;
    writeFile(dir / "f", "");
    EXPECT_TRUE(pathsIn(dir / "missing").empty());
    EXPECT_TRUE(pathsIn(dir / "f").empty());
    EXPECT_TRUE(pathsIn("").empty());
}

TEST(FileIterTest, EntriesMayBeRemovedOnTheWay) {
    const TempDir dir;
    for (int i = 0; i < 300; ++i) writeFile(dir / std::to_string(i), "");
    int seen = 0;
    const std::unique_ptr<HUTFileIter> entries(HUTFile(dir.path()).createFileIter());
    for (; entries->isValid(); entries->next(), ++seen)
        EXPECT_TRUE(HUTFile(entries->getPath()).rm());
    EXPECT_EQ(seen, 300);
}

TEST(HUTFileNameTest, TheNameIsTheLastComponent) {
    EXPECT_EQ(HUTFile("/a/CrashReport_1.json").getName(), "CrashReport_1.json");
    EXPECT_EQ(HUTFile("name").getName(), "name");
    EXPECT_EQ(HUTFile("/a/b/").getName(), "b");
}

TEST(HUTFileNameTest, TheSeparatorIsASlash) {
    EXPECT_EQ(HUTFile::getDirSeparator(), "/");
}

}  // namespace

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "HUTFile.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;

TEST(MkDirTest, MakesOneLevelOnly) {
    const TempDir dir;
    EXPECT_TRUE(HUTFile(dir / "a").mkDir());
    EXPECT_TRUE(HUTFile(dir / "a").isDir());
    EXPECT_FALSE(HUTFile(dir / "b/c").mkDir());
    EXPECT_FALSE(HUTFile::exists(dir / "b"));
}

TEST(MkDirTest, ADirectoryThatIsThereAlreadyIsFineAndKeepsItsMode) {
    const TempDir dir;
    ASSERT_EQ(mkdir((dir / "a").c_str(), 0750), 0);
    const mode_t before = modeOf(dir / "a");
    EXPECT_TRUE(HUTFile(dir / "a").mkDir());
    EXPECT_TRUE(HUTFile(dir / "a").mkDirRecursive());
    EXPECT_EQ(modeOf(dir / "a"), before);
}

TEST(MkDirTest, AFileInItsPlaceIsAFailure) {
    const TempDir dir;
    writeFile(dir / "f", "kept");
    EXPECT_FALSE(HUTFile(dir / "f").mkDir());
    EXPECT_FALSE(HUTFile(dir / "f").mkDirRecursive());
    EXPECT_FALSE(HUTFile(dir / "f/below").mkDirRecursive());
    EXPECT_EQ(test_support::readFile(dir / "f"), "kept");
}

TEST(MkDirTest, TheEmptyPathIsAFailure) {
    EXPECT_FALSE(HUTFile("").mkDir());
    EXPECT_FALSE(HUTFile("").mkDirRecursive());
}

TEST(MkDirTest, SlashesAtTheEndDoNotMatter) {
    const TempDir dir;
    EXPECT_TRUE(HUTFile(dir / "a//").mkDir());
    EXPECT_TRUE(HUTFile(dir / "a//b///c//").mkDirRecursive());
    EXPECT_TRUE(HUTFile(dir / "a/b/c").isDir());
}

TEST(MkDirTest, DirectoriesAreForTheirOwnerWhateverTheUmask) {
    const TempDir dir;
    for (const mode_t mask : {0000, 0022, 0377, 0777}) {
        const std::string base = dir / ("mask" + std::to_string(mask));
        auto child = ChildProcess::fork([&] {
            umask(mask);
            return HUTFile(base).mkDir() && HUTFile(base + "/a/b").mkDirRecursive() ? 0 : 1;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        for (const std::string& path : {base, base + "/a", base + "/a/b"})
            EXPECT_EQ(modeOf(path), 0700u) << path << " with umask " << mask;
    }
}

TEST(MkDirRecursiveTest, MakesMissingParentsOfARelativePath) {
    const TempDir dir;
    const test_support::ScopedWorkingDirectory inside(dir.path());
    EXPECT_TRUE(HUTFile("x/y/z").mkDirRecursive());
    EXPECT_TRUE(HUTFile(dir / "x/y/z").isDir());
}

TEST(MkDirRecursiveTest, ManyAtOnceAllSucceed) {
    const TempDir dir;
    const int rounds = 50, threads = 8;
    std::atomic<int> succeeded = 0;
    for (int round = 0; round < rounds; ++round) {
        const HUTFile deep(dir / (std::to_string(round) + "/a/b/c/d/e"));
        std::atomic<bool> start = false;
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i)
            workers.emplace_back([&] {
                while (!start) std::this_thread::yield();
                if (deep.mkDirRecursive()) ++succeeded;
            });
        start = true;
        for (std::thread& worker : workers) worker.join();
    }
    EXPECT_EQ(succeeded, rounds * threads);
}

}  // namespace

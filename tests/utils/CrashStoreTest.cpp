#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/SessionScene.h"
#include "support/StdoutCapture.h"

using namespace test_support;

namespace fs = std::filesystem;

namespace {

class CrashStoreTest : public test_support::SessionScene {
  protected:
    const std::string scratchDir = directory / ".crashReporter";
    const std::string dir = directory / "listed";

    CrashStoreTest() { fs::create_directory(dir); }
};

/// Entries in a fixed order; counts the iterators that are still there.
class ListingPlatform : public ScopedFakePlatform {
  public:
    std::vector<std::string> entries;
    int made = 0;
    int alive = 0;

    HUTFileIter* createFileIter(const std::string&) override {
        ++made;
        return new Iterator(*this);
    }

  private:
    class Iterator : public HUTFileIter {
      public:
        explicit Iterator(ListingPlatform& platform) : m_platform(platform) { ++m_platform.alive; }
        ~Iterator() override { --m_platform.alive; }
        bool isValid() const override { return m_next < m_platform.entries.size(); }
        std::string getPath() const override { return m_platform.entries[m_next]; }
        void next() override { ++m_next; }

      private:
        ListingPlatform& m_platform;
        std::size_t m_next = 0;
    };
};

std::vector<std::string> sorted(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

}  // namespace

// --- createCrashStore ----------------------------------------------------------------------------

TEST_F(CrashStoreTest, StoreIsMadeWithItsParentsInSilence) {
    const StdoutCapture capture;
    EXPECT_TRUE(HCrashRptUtils::createCrashStore());
    EXPECT_TRUE(fs::is_directory(store));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(CrashStoreTest, StoreIsForItsOwnerOnly) {
    umask(0);
    ASSERT_TRUE(HCrashRptUtils::createCrashStore());
    for (const std::string& path : {scratchDir, scratchDir + "/1", store}) {
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0700U) << path;
    }
}

TEST_F(CrashStoreTest, ExistingStoreIsLeftAsItIs) {
    fs::create_directories(store);
    test_support::writeFile(store + "/report", "content");
    int made = 0;
    platform.onMkDirRecursive = [&](const std::string&) {
        ++made;
        return true;
    };
    const StdoutCapture capture;
    EXPECT_TRUE(HCrashRptUtils::createCrashStore());
    EXPECT_EQ(made, 0);
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::readFile(store + "/report"), "content");
}

TEST_F(CrashStoreTest, StoreThatCannotBeMadeIsAnErrorWithItsPath) {
    platform.onMkDirRecursive = [](const std::string&) { return false; };
    const StdoutCapture capture;
    EXPECT_FALSE(HCrashRptUtils::createCrashStore());
    EXPECT_EQ(capture.flushedText(),
              "[Crash Reporter] Error: Could not create crash store at: " + store +
                  " Please check folder path exists or has write permission.\n");
}

TEST_F(CrashStoreTest, FileInPlaceOfAParentIsAnError) {
    test_support::writeFile(scratchDir, "");
    const StdoutCapture capture;
    EXPECT_FALSE(HCrashRptUtils::createCrashStore());
    EXPECT_EQ(capture.flushedText(),
              "[Crash Reporter] Error: Could not create crash store at: " + store +
                  " Please check folder path exists or has write permission.\n");
}

TEST_F(CrashStoreTest, FileInPlaceOfTheStoreCountsAsTheStore) {
    fs::create_directories(scratchDir + "/1");
    test_support::writeFile(store, "x");
    const StdoutCapture capture;
    EXPECT_TRUE(HCrashRptUtils::createCrashStore());
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::readFile(store), "x");
    HCrashRptUtils::deleteCrashStore();
    EXPECT_EQ(capture.flushedText(), "[Crash Reporter] Deleted crash store.\n");
    EXPECT_FALSE(fs::exists(store));
}

TEST_F(CrashStoreTest, WhetherItExistsAfterwardsDecidesNotTheMaking) {
    // As when another process has made it meanwhile.
    platform.onMkDirRecursive = [](const std::string& path) {
        fs::create_directories(path);
        return false;
    };
    {
        const StdoutCapture capture;
        EXPECT_TRUE(HCrashRptUtils::createCrashStore());
        EXPECT_EQ(capture.text(), "");
    }
    fs::remove_all(scratchDir);
    platform.onMkDirRecursive = [](const std::string&) { return true; };
    const StdoutCapture capture;
    EXPECT_FALSE(HCrashRptUtils::createCrashStore());
}

TEST_F(CrashStoreTest, SeveralProcessesMakeItAtOnce) {
    constexpr int kProcesses = 8;
    constexpr int kRounds = 20;
    for (int round = 0; round < kRounds; ++round) {
        fs::remove_all(scratchDir);
        int gate[2];
        ASSERT_EQ(pipe(gate), 0);
        std::vector<ChildProcess> children;
        for (int i = 0; i < kProcesses; ++i)
            children.push_back(ChildProcess::fork([&] {
                // All start when the parent closes the gate.
                close(gate[1]);
                char byte = 0;
                if (read(gate[0], &byte, 1) != 0) return 2;
                return HCrashRptUtils::createCrashStore() ? 0 : 3;
            }));
        close(gate[0]);
        close(gate[1]);
        for (ChildProcess& child : children) {
            EXPECT_EQ(child.wait(), exitedWith(0));
            EXPECT_EQ(child.standardOutput(), "");
        }
        EXPECT_TRUE(fs::is_directory(store));
    }
}

// --- deleteCrashStore, deleteCrashReporterDir ----------------------------------------------------

TEST_F(CrashStoreTest, DeletingRemovesTheStoreAndAllInIt) {
    fs::create_directories(store + "/below");
    test_support::writeFile(store + "/below/file", "x");
    const StdoutCapture capture;
    HCrashRptUtils::deleteCrashStore();
    EXPECT_EQ(capture.flushedText(), "[Crash Reporter] Deleted crash store.\n");
    EXPECT_FALSE(fs::exists(store));
    EXPECT_TRUE(fs::is_directory(scratchDir + "/1"));
}

TEST_F(CrashStoreTest, DeletingWhatIsMissingRemovesNothing) {
    int removals = 0;
    platform.onRmRecursive = [&](const std::string&) {
        ++removals;
        return false;
    };
    const StdoutCapture capture;
    HCrashRptUtils::deleteCrashStore();
    const std::string told = "[Crash Reporter] Deleted crash store.\n";
    EXPECT_EQ(capture.flushedText(), told);
    HCrashRptUtils::deleteCrashReporterDir();
    EXPECT_EQ(capture.text(), told) << "the directory of all sessions is removed in silence";
    EXPECT_EQ(removals, 0);
}

TEST_F(CrashStoreTest, StoreThatStaysIsAnError) {
    fs::create_directories(store);
    // What the removal itself says does not count.
    for (const bool answer : {false, true}) {
        platform.onRmRecursive = [answer](const std::string&) { return answer; };
        const StdoutCapture capture;
        HCrashRptUtils::deleteCrashStore();
        EXPECT_EQ(capture.flushedText(), "[Crash Reporter] Error: Could not delete crash store.\n");
    }
}

TEST_F(CrashStoreTest, DeletingTheReporterDirectoryTakesAllSessionsInSilence) {
    fs::create_directories(store);
    fs::create_directories(scratchDir + "/2/crashStore");
    test_support::writeFile(scratchDir + "/2/crashStore/file", "x");
    const std::vector<std::string> others = {"appdata", "data", "listed", "tmp"};
    const StdoutCapture capture;
    HCrashRptUtils::deleteCrashReporterDir();
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::namesIn(directory.path()), others);
}

TEST_F(CrashStoreTest, ReporterDirectoryThatStaysIsAnError) {
    fs::create_directories(scratchDir);
    platform.onRmRecursive = [](const std::string&) { return true; };
    const StdoutCapture capture;
    HCrashRptUtils::deleteCrashReporterDir();
    EXPECT_EQ(capture.flushedText(),
              "[Crash Reporter] Error: Could not delete crash reporter directory.\n");
}

// --- getFilesWithPrefix --------------------------------------------------------------------------

TEST_F(CrashStoreTest, ListsFilesThatBeginWithThePrefix) {
    for (const char* name : {"CrashReport_a.json", "crashreport_b.json", "CrashReport_",
                             "CrashRepor", "xCrashReport_c", ".CrashReport_d"})
        test_support::writeFile(dir + "/" + name, "");
    fs::create_directories(dir + "/CrashReport_dir");
    test_support::writeFile(dir + "/CrashReport_dir/CrashReport_below", "");
    EXPECT_EQ(sorted(HCrashRptUtils::getFilesWithPrefix("CrashReport_", dir)),
              (std::vector<std::string>{dir + "/CrashReport_", dir + "/CrashReport_a.json"}));
}

TEST_F(CrashStoreTest, ListsWhateverIsNoDirectory) {
    test_support::writeFile(dir + "/file", "");
    fs::create_directories(dir + "/directory");
    fs::create_symlink(dir + "/file", dir + "/p_to_file");
    fs::create_symlink(dir + "/nothing", dir + "/p_to_nothing");
    fs::create_symlink(dir + "/directory", dir + "/p_to_directory");
    ASSERT_EQ(mkfifo((dir + "/p_fifo").c_str(), 0600), 0);
    EXPECT_EQ(
        sorted(HCrashRptUtils::getFilesWithPrefix("p_", dir)),
        (std::vector<std::string>{dir + "/p_fifo", dir + "/p_to_file", dir + "/p_to_nothing"}));
}

TEST_F(CrashStoreTest, EmptyPrefixOrDirectoryListsNothing) {
    test_support::writeFile(dir + "/file", "");
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("", dir).empty());
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("file", "").empty());
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("", "").empty());
}

TEST_F(CrashStoreTest, WhatIsNoDirectoryListsNothing) {
    test_support::writeFile(dir + "/file", "");
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("file", dir + "/file").empty());
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("file", dir + "/missing").empty());
}

TEST_F(CrashStoreTest, OnlyWhatThePlatformCallsADirectoryIsWalked) {
    ListingPlatform listing;
    listing.entries = {dir + "/p_a"};
    listing.onIsDir = [](const std::string&) { return false; };
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("p_", dir).empty());
    listing.onIsDir = [](const std::string& path) { return path.empty(); };
    EXPECT_TRUE(HCrashRptUtils::getFilesWithPrefix("p_", "").empty());
    EXPECT_EQ(listing.made, 0);
}

TEST_F(CrashStoreTest, DirectoryIsJoinedAsItIsPassed) {
    test_support::writeFile(dir + "/file", "");
    EXPECT_EQ(HCrashRptUtils::getFilesWithPrefix("file", dir + "/"),
              std::vector<std::string>{dir + "//file"});
}

TEST_F(CrashStoreTest, OrderIsThePlatformsAndTheIteratorIsReleased) {
    ListingPlatform listing;
    listing.entries = {dir + "/p_b", dir + "/p_a", dir + "/other", dir + "/p_c"};
    EXPECT_EQ(HCrashRptUtils::getFilesWithPrefix("p_", dir),
              (std::vector<std::string>{dir + "/p_b", dir + "/p_a", dir + "/p_c"}));
    EXPECT_EQ(listing.made, 1);
    EXPECT_EQ(listing.alive, 0);
}

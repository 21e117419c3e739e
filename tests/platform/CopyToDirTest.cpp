#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <thread>

#include "HUTFile.h"
#include "support/ChildProcess.h"
#include "support/MissingSystemCall.h"
#include "support/ScopedFault.h"
#include "support/TempDir.h"

namespace {

using namespace test_support;
using Names = std::vector<std::string>;

class CopyToDirTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(HUTFile(m_store).mkDir()); }
    bool copy(HUTFile::CopyMode mode = HUTFile::COPY_REPLACE) {
        return HUTFile(m_source).copyToDir(m_store, mode);
    }

    const TempDir m_dir;
    const std::string m_source = m_dir / "report";
    const std::string m_store = m_dir / "store";
    const std::string m_copy = m_store + "/report";
};

TEST_F(CopyToDirTest, TheCopyHasTheNameAndTheBytesOfTheFile) {
    std::string content;
    for (int i = 0; i < 100000; ++i) content += static_cast<char>(i % 251);
    writeFile(m_source, content);
    EXPECT_TRUE(copy());
    EXPECT_EQ(readFile(m_copy), content);
    EXPECT_EQ(readFile(m_source), content);
    EXPECT_EQ(namesIn(m_store), Names{"report"});
}

TEST_F(CopyToDirTest, AnEmptyFileIsCopied) {
    writeFile(m_source, "");
    EXPECT_TRUE(copy());
    EXPECT_EQ(readFile(m_copy), "");
}

TEST_F(CopyToDirTest, ModeOneReplaces) {
    EXPECT_EQ(static_cast<int>(HUTFile::COPY_REPLACE), 1);
    writeFile(m_source, "new");
    writeFile(m_copy, "a longer old content");
    EXPECT_TRUE(copy());
    EXPECT_EQ(readFile(m_copy), "new");
}

TEST_F(CopyToDirTest, WhoHasTheOldFileOpenNeverSeesHalfOfTheNewOne) {
    writeFile(m_source, "new");
    writeFile(m_copy, "old");
    const int old = open(m_copy.c_str(), O_RDONLY);
    ASSERT_GE(old, 0);
    EXPECT_TRUE(copy());
    char text[8] = {};
    EXPECT_EQ(read(old, text, sizeof text), 3);
    EXPECT_STREQ(text, "old");
    close(old);
}

TEST_F(CopyToDirTest, ModeZeroKeepsWhatIsThereAndFails) {
    writeFile(m_source, "new");
    EXPECT_TRUE(copy(HUTFile::COPY_KEEP));
    EXPECT_EQ(readFile(m_copy), "new");
    writeFile(m_source, "newer");
    EXPECT_FALSE(copy(HUTFile::COPY_KEEP));
    EXPECT_EQ(readFile(m_copy), "new");
    EXPECT_EQ(namesIn(m_store), Names{"report"});
}

// Older kernels and some file systems cannot rename without replacing.
TEST_F(CopyToDirTest, ModeZeroNeedsNoSpecialRename) {
    ChildProcess child = ChildProcess::fork([this] {
        if (!test_support::takeAwaySystemCall(SYS_renameat2)) return 2;
        writeFile(m_source, "first");
        if (!copy(HUTFile::COPY_KEEP)) return 3;
        writeFile(m_source, "second");
        return copy(HUTFile::COPY_KEEP) ? 4 : 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(readFile(m_copy), "first");
    EXPECT_EQ(namesIn(m_store), Names{"report"});
}

TEST_F(CopyToDirTest, OfManyCopiesAtOnceThatKeepExactlyOneSucceeds) {
    writeFile(m_source, "content");
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> succeeded = 0;
        std::vector<std::thread> workers;
        for (int i = 0; i < 4; ++i)
            workers.emplace_back([&] {
                if (copy(HUTFile::COPY_KEEP)) ++succeeded;
            });
        for (std::thread& worker : workers) worker.join();
        EXPECT_EQ(succeeded, 1);
        EXPECT_EQ(namesIn(m_store), Names{"report"});
        ASSERT_TRUE(HUTFile(m_copy).rm());
    }
}

TEST_F(CopyToDirTest, TheCopyIsForItsOwnerWhateverSourceAndUmask) {
    writeFile(m_source, "secret");
    ASSERT_EQ(chmod(m_source.c_str(), 0644), 0);
    for (const mode_t mask : {0000, 0777}) {
        auto child = ChildProcess::fork([&] {
            umask(mask);
            return copy() ? 0 : 1;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        EXPECT_EQ(modeOf(m_copy), 0600u);
    }
}

TEST_F(CopyToDirTest, ItIsWrittenUnderAHiddenNameAndRenamed) {
    writeFile(m_source, "content");
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, m_store.c_str(), IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO),
              0);
    EXPECT_TRUE(copy());
    alignas(inotify_event) char events[4096];
    const ssize_t size = read(watch, events, sizeof events);
    close(watch);
    ASSERT_GT(size, 0);
    Names made, appeared;
    for (ssize_t at = 0; at < size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(events + at);
        if (event->mask & IN_CREATE) made.push_back(event->name);
        if (event->mask & IN_MOVED_TO) appeared.push_back(event->name);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
    EXPECT_EQ(appeared, Names{"report"});
    ASSERT_EQ(made.size(), 1u);
    // Names that the crash reporter looks for begin with "hs_" or "CrashReport_".
    EXPECT_EQ(made[0][0], '.') << made[0];
}

TEST_F(CopyToDirTest, ACopyThatFailsHalfWayLeavesNothingAndTheOldFileWhole) {
    writeFile(m_source, std::string(10000, 'x'));
    writeFile(m_copy, "old");
    auto child = ChildProcess::fork([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {4096, 4096};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        return copy() ? 1 : 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(namesIn(m_store), Names{"report"});
    EXPECT_EQ(readFile(m_copy), "old");
}

TEST_F(CopyToDirTest, ADirectoryInPlaceOfTheCopyIsAFailureThatLeavesNothing) {
    writeFile(m_source, "content");
    ASSERT_TRUE(HUTFile(m_copy).mkDir());
    EXPECT_FALSE(copy());
    EXPECT_EQ(namesIn(m_store), Names{"report"});
    EXPECT_TRUE(HUTFile(m_copy).isDir());
}

TEST_F(CopyToDirTest, SignalsDoNotCutTheCopy) {
    const std::string content(5000, 'x');
    writeFile(m_source, content);
    const ScopedFault interruptedReads(seams::onRead, EINTR, 3);
    const ScopedFault interruptedWrites(seams::onWrite, EINTR, 3);
    EXPECT_TRUE(copy());
    EXPECT_EQ(interruptedReads.met(), 3);
    EXPECT_EQ(interruptedWrites.met(), 3);
    EXPECT_EQ(readFile(m_copy), content);
}

TEST_F(CopyToDirTest, AFileThatCannotBeReadIsNotCopied) {
    writeFile(m_source, "new");
    writeFile(m_copy, "old");
    const ScopedFault broken(seams::onRead, EIO);
    EXPECT_FALSE(copy());
    EXPECT_EQ(broken.met(), 1);
    EXPECT_EQ(namesIn(m_store), Names{"report"});
    EXPECT_EQ(readFile(m_copy), "old");
}

TEST_F(CopyToDirTest, ABareNameLiesInTheWorkingDirectory) {
    writeFile(m_source, "content");
    ChildProcess child = ChildProcess::fork([&] {
        if (chdir(m_dir.path().c_str()) != 0) return 2;
        return HUTFile("report").copyToDir(m_store, HUTFile::COPY_REPLACE) ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(readFile(m_copy), "content");
    EXPECT_EQ(namesIn(m_store), Names{"report"});
}

TEST_F(CopyToDirTest, MissingSourceOrDirectoryIsAFailure) {
    EXPECT_FALSE(copy());
    writeFile(m_source, "content");
    EXPECT_FALSE(HUTFile(m_source).copyToDir(m_dir / "missing", HUTFile::COPY_REPLACE));
    EXPECT_FALSE(HUTFile(m_source).copyToDir(m_source, HUTFile::COPY_REPLACE));
    EXPECT_FALSE(HUTFile(m_source).copyToDir("", HUTFile::COPY_REPLACE));
    EXPECT_FALSE(HUTFile("").copyToDir(m_store, HUTFile::COPY_REPLACE));
    EXPECT_TRUE(namesIn(m_store).empty());
}

TEST_F(CopyToDirTest, OnlyRegularFilesAreCopiedAndAPipeDoesNotBlock) {
    ASSERT_EQ(mkfifo(m_source.c_str(), 0600), 0);
    EXPECT_FALSE(copy());
    EXPECT_FALSE(HUTFile(m_store).copyToDir(m_store, HUTFile::COPY_REPLACE));
    EXPECT_TRUE(namesIn(m_store).empty());
}

TEST_F(CopyToDirTest, AFileCopiedOntoItselfStaysAsItIs) {
    writeFile(m_copy, "content");
    const std::string others = m_dir / "alias";
    ASSERT_EQ(symlink(m_store.c_str(), others.c_str()), 0);
    EXPECT_TRUE(HUTFile(m_copy).copyToDir(m_store, HUTFile::COPY_REPLACE));
    EXPECT_TRUE(HUTFile(m_copy).copyToDir(others + "/", HUTFile::COPY_REPLACE));
    EXPECT_EQ(readFile(m_copy), "content");
    EXPECT_EQ(namesIn(m_store), Names{"report"});
}

TEST_F(CopyToDirTest, ALinkInPlaceOfTheCopyIsReplacedAndNotWrittenThrough) {
    writeFile(m_source, "new");
    writeFile(m_dir / "outside", "kept");
    ASSERT_EQ(symlink("../outside", m_copy.c_str()), 0);
    EXPECT_TRUE(copy());
    EXPECT_EQ(readFile(m_dir / "outside"), "kept");
    EXPECT_EQ(readFile(m_copy), "new");
}

TEST_F(CopyToDirTest, ANameOfTheGreatestLengthIsCopied) {
    const std::string name(NAME_MAX, 'n');
    writeFile(m_dir / name, "content");
    EXPECT_TRUE(HUTFile(m_dir / name).copyToDir(m_store, HUTFile::COPY_REPLACE));
    EXPECT_EQ(readFile(m_store + "/" + name), "content");
}

}  // namespace

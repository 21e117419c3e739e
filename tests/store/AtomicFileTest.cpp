#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "store/AtomicFile.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

using hcrpt::AtomicFile;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

constexpr uid_t kSomeOrdinaryUser = 65534;

constexpr rlim_t kRoom = 10;
/// The first waits in the stream's buffer until the file is closed, the second is too long for it.
const std::string kTooLongContents[] = {std::string(25, 'x'), std::string(100000, 'x')};

/// Stands for a disk with room for files of kRoom bytes.
bool fillDisk() {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {kRoom, kRoom};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// Writes into a file where the disk is full. @return whether it ended as the caller has it.
bool fillFile(const std::string& path, const std::string& content, bool (AtomicFile::*end)()) {
    ChildProcess child = ChildProcess::fork([&] {
        if (!fillDisk()) return 2;
        AtomicFile file(path);
        file.stream() << content;
        return (file.*end)() ? 0 : 1;
    });
    const auto state = child.wait();
    EXPECT_TRUE(state == exitedWith(0) || state == exitedWith(1)) << state;
    return state == exitedWith(0);
}

/// Permission bits do not bind root: runs the body in a child as an ordinary user.
int asOrdinaryUser(const std::function<int()>& body) {
    if (geteuid() == 0 && seteuid(kSomeOrdinaryUser) != 0) return 100;
    return body();
}

}  // namespace

TEST(AtomicFileTest, AppearsOnlyWhenItIsComplete) {
    const TempDir dir;
    AtomicFile file(dir / "file");
    ASSERT_TRUE(file.isOpen());
    file.stream() << "content" << std::flush;
    EXPECT_FALSE(fs::exists(dir / "file"));
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "content");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, IsWrittenUnderAHiddenNameWithTheProcessId) {
    const TempDir dir;
    const AtomicFile file(dir / "CrashReport_1");
    const Names names = test_support::namesIn(dir.path());
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(names[0].front(), '.');
    EXPECT_NE(names[0].find(std::to_string(getpid())), std::string::npos);
}

TEST(AtomicFileTest, ReplacesAnOlderFileOnlyAtTheEnd) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "the older and longer one");
    AtomicFile file(dir / "file");
    file.stream() << "new";
    EXPECT_EQ(test_support::readFile(dir / "file"), "the older and longer one");
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "new");
}

TEST(AtomicFileTest, IsForItsOwnerOnlyWhateverWasThereBefore) {
    const TempDir dir;
    umask(0);
    test_support::writeFile(dir / "old", "");
    chmod((dir / "old").c_str(), 0666);
    for (const char* name : {"old", "new"}) {
        AtomicFile file(dir / name);
        ASSERT_TRUE(file.commit());
        EXPECT_EQ(modeOf(dir / name), 0600U) << name;
    }
}

TEST(AtomicFileTest, WithoutCommitNothingIsLeft) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "old");
    {
        AtomicFile file(dir / "file");
        file.stream() << "new";
    }
    EXPECT_EQ(test_support::readFile(dir / "file"), "old");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, EmptyContentMakesAnEmptyFile) {
    const TempDir dir;
    AtomicFile file(dir / "file");
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "");
}

TEST(AtomicFileTest, ContentThatDidNotArriveLeavesThePlaceAsItWas) {
    for (const std::string& content : kTooLongContents) {
        const TempDir dir;
        test_support::writeFile(dir / "older", "older");
        for (const char* name : {"older", "new"})
            EXPECT_FALSE(fillFile(dir / name, content, &AtomicFile::commit));
        EXPECT_EQ(test_support::readFile(dir / "older"), "older");
        EXPECT_EQ(test_support::namesIn(dir.path()), Names{"older"});
    }
}

TEST(AtomicFileTest, PartIsPutInPlaceWhenAskedFor) {
    for (const std::string& content : kTooLongContents) {
        const TempDir dir;
        test_support::writeFile(dir / "older", "older");
        for (const char* name : {"older", "new"}) {
            EXPECT_TRUE(fillFile(dir / name, content, &AtomicFile::commitPart));
            EXPECT_EQ(test_support::readFile(dir / name), std::string(kRoom, 'x'));
        }
        EXPECT_EQ(test_support::namesIn(dir.path()), (Names{"new", "older"}));
    }
}

TEST(AtomicFileTest, ContentLostByADeviceIsNoSuccess) {
    AtomicFile file("/dev/full");
    ASSERT_TRUE(file.isOpen());
    file.stream() << "text";
    EXPECT_FALSE(file.commit());
}

TEST(AtomicFileTest, IsPutInPlaceOnceOnly) {
    const TempDir dir;
    AtomicFile file(dir / "file");
    EXPECT_TRUE(file.commitPart());
    fs::remove(dir / "file");
    EXPECT_FALSE(file.commit());
    EXPECT_FALSE(file.commitPart());
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

TEST(AtomicFileTest, EveryByteArrives) {
    const TempDir dir;
    std::string content;
    for (int i = 0; i < 100000; ++i) content += static_cast<char>(i % 256);
    AtomicFile file(dir / "file");
    file.stream() << content;
    ASSERT_TRUE(file.commit());
    EXPECT_TRUE(test_support::readFile(dir / "file") == content);
}

TEST(AtomicFileTest, DirectoryInItsPlaceCannotBeWritten) {
    const TempDir dir;
    fs::create_directories(dir / "place");
    AtomicFile file(dir / "place");
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.commit());
    EXPECT_FALSE(file.commitPart());
    EXPECT_TRUE(fs::is_directory(dir / "place"));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"place"});
}

TEST(AtomicFileTest, PlacesThatCannotBeAreNotOpen) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    for (const std::string& path :
         {dir / "missing/file", dir / "file/below", dir / "new/", std::string()}) {
        AtomicFile file(path);
        EXPECT_FALSE(file.isOpen()) << path;
        EXPECT_FALSE(file.commit()) << path;
        EXPECT_FALSE(file.commitPart()) << path;
    }
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, BareNameLiesInTheWorkingDirectory) {
    const TempDir dir;
    const ScopedWorkingDirectory there(dir.path());
    AtomicFile file("bare");
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(test_support::namesIn(dir.path()).size(), 1U);
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"bare"});
}

TEST(AtomicFileTest, LongestNameIsWrittenWholeToo) {
    const TempDir dir;
    const std::string name(255, 'n');
    AtomicFile file(dir / name);
    ASSERT_TRUE(file.isOpen());
    EXPECT_FALSE(fs::exists(dir / name));
    ASSERT_TRUE(file.commit());
    EXPECT_TRUE(fs::exists(dir / name));
}

TEST(AtomicFileTest, TwoWritersOfOnePlaceDoNotMix) {
    const TempDir dir;
    AtomicFile first(dir / "file");
    AtomicFile second(dir / "file");
    first.stream() << "first";
    second.stream() << "second";
    ASSERT_TRUE(second.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "second");
    ASSERT_TRUE(first.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "first");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, LinkInItsPlaceIsReplacedNotFollowed) {
    const TempDir dir;
    test_support::writeFile(dir / "victim", "untouched");
    fs::create_symlink(dir / "victim", dir / "file");
    fs::create_symlink(dir / "nothing", dir / "dangling");
    for (const char* name : {"file", "dangling"}) {
        AtomicFile file(dir / name);
        file.stream() << "new";
        ASSERT_TRUE(file.commit());
        EXPECT_FALSE(fs::is_symlink(dir / name)) << name;
        EXPECT_EQ(test_support::readFile(dir / name), "new");
    }
    EXPECT_EQ(test_support::readFile(dir / "victim"), "untouched");
    EXPECT_FALSE(fs::exists(dir / "nothing"));
}

TEST(AtomicFileTest, WhatIsNoFileIsWrittenNotReplaced) {
    const TempDir dir;
    // A pipe stands for the devices, whose loss a machine would not get over.
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    chmod((dir / "pipe").c_str(), 0644);
    fs::create_symlink(dir / "pipe", dir / "link");
    const int reader = open((dir / "pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    for (const char* name : {"pipe", "link"}) {
        AtomicFile file(dir / name);
        ASSERT_TRUE(file.isOpen());
        file.stream() << "text";
        EXPECT_TRUE(file.commit());
        char text[8] = {};
        EXPECT_EQ(read(reader, text, sizeof text - 1), 4);
        EXPECT_STREQ(text, "text");
    }
    close(reader);
    EXPECT_TRUE(fs::is_fifo(fs::symlink_status(dir / "pipe")));
    EXPECT_TRUE(fs::is_symlink(dir / "link"));
    EXPECT_EQ(modeOf(dir / "pipe"), 0644U);
    EXPECT_EQ(test_support::namesIn(dir.path()), (Names{"link", "pipe"}));
}

TEST(AtomicFileTest, APipeWithoutAReaderIsNotWaitedFor) {
    const TempDir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    {
        AtomicFile file(dir / "pipe");
        EXPECT_FALSE(file.isOpen());
        EXPECT_FALSE(file.commitPart());
    }
    EXPECT_TRUE(fs::is_fifo(fs::symlink_status(dir / "pipe")));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"pipe"});
}

TEST(AtomicFileTest, APipeIsWrittenWithoutStandardInput) {
    const TempDir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    const int reader = open((dir / "pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    // The first file that is opened then has descriptor 0.
    auto child = ChildProcess::fork([&] {
        close(STDIN_FILENO);
        AtomicFile file(dir / "pipe");
        file.stream() << "text";
        return file.commit() ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    char text[8] = {};
    EXPECT_EQ(read(reader, text, sizeof text - 1), 4);
    close(reader);
}

TEST(AtomicFileTest, PlaceTakenMeanwhileLeavesNoLitter) {
    const TempDir dir;
    {
        AtomicFile file(dir / "file");
        file.stream() << "content";
        fs::create_directories(dir / "file");
        EXPECT_FALSE(file.commit());
    }
    EXPECT_TRUE(fs::is_directory(dir / "file"));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, WritableFileInAProtectedDirectoryIsWrittenInPlace) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "the older and longer one");
    fs::permissions(dir / "file", fs::perms(0666));
    if (geteuid() == 0) {
        ASSERT_EQ(chown((dir / "file").c_str(), kSomeOrdinaryUser, 0), 0);
    }
    fs::permissions(dir.path(), fs::perms(0555));
    auto child = ChildProcess::fork([&] {
        return asOrdinaryUser([&] {
            AtomicFile file(dir / "file");
            if (!file.isOpen()) return 2;
            file.stream() << "new";
            return file.commit() ? 0 : 3;
        });
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "file"), "new");
    EXPECT_EQ(modeOf(dir / "file"), 0600U) << "its owner's";
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, ProtectedFileIsNotReplaced) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "protected");
    fs::permissions(dir / "file", fs::perms(0444));
    fs::permissions(dir.path(), fs::perms(0777));
    auto child = ChildProcess::fork(
        [&] { return asOrdinaryUser([&] { return AtomicFile(dir / "file").isOpen() ? 2 : 0; }); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "file"), "protected");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(AtomicFileTest, NewFileInAProtectedDirectoryIsNotOpen) {
    const TempDir dir;
    fs::permissions(dir.path(), fs::perms(0555));
    auto child = ChildProcess::fork(
        [&] { return asOrdinaryUser([&] { return AtomicFile(dir / "file").isOpen() ? 2 : 0; }); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

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

#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "utils/WholeFile.h"

using hcrpt::WholeFile;
using test_support::ChildProcess;
using test_support::exitedWith;
using test_support::ScopedWorkingDirectory;
using test_support::TempDir;

namespace fs = std::filesystem;

namespace {

using Names = std::vector<std::string>;

constexpr uid_t kSomeOrdinaryUser = 65534;

mode_t permissionsOf(const std::string& path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

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
bool fillFile(const std::string& path, const std::string& content, bool (WholeFile::*end)()) {
    ChildProcess child = ChildProcess::fork([&] {
        if (!fillDisk()) return 2;
        WholeFile file(path);
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

TEST(WholeFileTest, AppearsOnlyWhenItIsComplete) {
    const TempDir dir;
    WholeFile file(dir / "file");
    ASSERT_TRUE(file.isOpen());
    file.stream() << "content" << std::flush;
    EXPECT_FALSE(fs::exists(dir / "file"));
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "content");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, IsWrittenUnderAHiddenNameWithTheProcessId) {
    const TempDir dir;
    const WholeFile file(dir / "CrashReport_1");
    const Names names = test_support::namesIn(dir.path());
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(names[0].front(), '.');
    EXPECT_NE(names[0].find(std::to_string(getpid())), std::string::npos);
}

TEST(WholeFileTest, ReplacesAnOlderFileOnlyAtTheEnd) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "the older and longer one");
    WholeFile file(dir / "file");
    file.stream() << "new";
    EXPECT_EQ(test_support::readFile(dir / "file"), "the older and longer one");
    file.commit();
    EXPECT_EQ(test_support::readFile(dir / "file"), "new");
}

TEST(WholeFileTest, IsForItsOwnerOnlyWhateverWasThereBefore) {
    const TempDir dir;
    umask(0);
    test_support::writeFile(dir / "old", "");
    chmod((dir / "old").c_str(), 0666);
    for (const char* name : {"old", "new"}) {
        WholeFile file(dir / name);
        file.commit();
        EXPECT_EQ(permissionsOf(dir / name), 0600U) << name;
    }
}

TEST(WholeFileTest, WithoutCommitNothingIsLeft) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "old");
    {
        WholeFile file(dir / "file");
        file.stream() << "new";
    }
    EXPECT_EQ(test_support::readFile(dir / "file"), "old");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, EmptyContentMakesAnEmptyFile) {
    const TempDir dir;
    WholeFile file(dir / "file");
    EXPECT_TRUE(file.commit());
    EXPECT_EQ(test_support::readFile(dir / "file"), "");
}

TEST(WholeFileTest, ContentThatDidNotArriveLeavesThePlaceAsItWas) {
    for (const std::string& content : kTooLongContents) {
        const TempDir dir;
        test_support::writeFile(dir / "older", "older");
        for (const char* name : {"older", "new"})
            EXPECT_FALSE(fillFile(dir / name, content, &WholeFile::commit));
        EXPECT_EQ(test_support::readFile(dir / "older"), "older");
        EXPECT_EQ(test_support::namesIn(dir.path()), Names{"older"});
    }
}

TEST(WholeFileTest, PartIsPutInPlaceWhenAskedFor) {
    for (const std::string& content : kTooLongContents) {
        const TempDir dir;
        test_support::writeFile(dir / "older", "older");
        for (const char* name : {"older", "new"}) {
            EXPECT_TRUE(fillFile(dir / name, content, &WholeFile::commitPart));
            EXPECT_EQ(test_support::readFile(dir / name), std::string(kRoom, 'x'));
        }
        EXPECT_EQ(test_support::namesIn(dir.path()), (Names{"new", "older"}));
    }
}

TEST(WholeFileTest, ContentLostByADeviceIsNoSuccess) {
    WholeFile file("/dev/full");
    ASSERT_TRUE(file.isOpen());
    file.stream() << "text";
    EXPECT_FALSE(file.commit());
}

TEST(WholeFileTest, IsPutInPlaceOnceOnly) {
    const TempDir dir;
    WholeFile file(dir / "file");
    EXPECT_TRUE(file.commitPart());
    fs::remove(dir / "file");
    EXPECT_FALSE(file.commit());
    EXPECT_FALSE(file.commitPart());
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

TEST(WholeFileTest, EveryByteArrives) {
    const TempDir dir;
    std::string content;
    for (int i = 0; i < 100000; ++i) content += static_cast<char>(i % 256);
    WholeFile file(dir / "file");
    file.stream() << content;
    file.commit();
    EXPECT_TRUE(test_support::readFile(dir / "file") == content);
}

TEST(WholeFileTest, DirectoryInItsPlaceCannotBeWritten) {
    const TempDir dir;
    fs::create_directories(dir / "place");
    WholeFile file(dir / "place");
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.commit());
    EXPECT_FALSE(file.commitPart());
    EXPECT_TRUE(fs::is_directory(dir / "place"));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"place"});
}

TEST(WholeFileTest, PlacesThatCannotBeAreNotOpen) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    for (const std::string& path :
         {dir / "missing/file", dir / "file/below", dir / "new/", std::string()}) {
        WholeFile file(path);
        EXPECT_FALSE(file.isOpen()) << path;
        EXPECT_FALSE(file.commit()) << path;
        EXPECT_FALSE(file.commitPart()) << path;
    }
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, BareNameLiesInTheWorkingDirectory) {
    const TempDir dir;
    const ScopedWorkingDirectory there(dir.path());
    WholeFile file("bare");
    ASSERT_TRUE(file.isOpen());
    EXPECT_EQ(test_support::namesIn(dir.path()).size(), 1U);
    file.commit();
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"bare"});
}

TEST(WholeFileTest, LongestNameIsWrittenWholeToo) {
    const TempDir dir;
    const std::string name(255, 'n');
    WholeFile file(dir / name);
    ASSERT_TRUE(file.isOpen());
    EXPECT_FALSE(fs::exists(dir / name));
    file.commit();
    EXPECT_TRUE(fs::exists(dir / name));
}

TEST(WholeFileTest, TwoWritersOfOnePlaceDoNotMix) {
    const TempDir dir;
    WholeFile first(dir / "file");
    WholeFile second(dir / "file");
    first.stream() << "first";
    second.stream() << "second";
    second.commit();
    EXPECT_EQ(test_support::readFile(dir / "file"), "second");
    first.commit();
    EXPECT_EQ(test_support::readFile(dir / "file"), "first");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, LinkInItsPlaceIsReplacedNotFollowed) {
    const TempDir dir;
    test_support::writeFile(dir / "victim", "untouched");
    fs::create_symlink(dir / "victim", dir / "file");
    fs::create_symlink(dir / "nothing", dir / "dangling");
    for (const char* name : {"file", "dangling"}) {
        WholeFile file(dir / name);
        file.stream() << "new";
        file.commit();
        EXPECT_FALSE(fs::is_symlink(dir / name)) << name;
        EXPECT_EQ(test_support::readFile(dir / name), "new");
    }
    EXPECT_EQ(test_support::readFile(dir / "victim"), "untouched");
    EXPECT_FALSE(fs::exists(dir / "nothing"));
}

TEST(WholeFileTest, WhatIsNoFileIsWrittenNotReplaced) {
    const TempDir dir;
    // A pipe stands for the devices, whose loss a machine would not get over.
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    chmod((dir / "pipe").c_str(), 0644);
    fs::create_symlink(dir / "pipe", dir / "link");
    const int reader = open((dir / "pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    for (const char* name : {"pipe", "link"}) {
        WholeFile file(dir / name);
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
    EXPECT_EQ(permissionsOf(dir / "pipe"), 0644U);
    EXPECT_EQ(test_support::namesIn(dir.path()), (Names{"link", "pipe"}));
}

TEST(WholeFileTest, APipeWithoutAReaderIsNotWaitedFor) {
    const TempDir dir;
    ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
    {
        WholeFile file(dir / "pipe");
        EXPECT_FALSE(file.isOpen());
        EXPECT_FALSE(file.commitPart());
    }
    EXPECT_TRUE(fs::is_fifo(fs::symlink_status(dir / "pipe")));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"pipe"});
}

TEST(WholeFileTest, PlaceTakenMeanwhileLeavesNoLitter) {
    const TempDir dir;
    {
        WholeFile file(dir / "file");
        file.stream() << "content";
        fs::create_directories(dir / "file");
        EXPECT_FALSE(file.commit());
    }
    EXPECT_TRUE(fs::is_directory(dir / "file"));
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, WritableFileInAProtectedDirectoryIsWrittenInPlace) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "the older and longer one");
    fs::permissions(dir / "file", fs::perms(0666));
    fs::permissions(dir.path(), fs::perms(0555));
    auto child = ChildProcess::fork([&] {
        return asOrdinaryUser([&] {
            WholeFile file(dir / "file");
            if (!file.isOpen()) return 2;
            file.stream() << "new";
            return file.commit() ? 0 : 3;
        });
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "file"), "new");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, ProtectedFileIsNotReplaced) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "protected");
    fs::permissions(dir / "file", fs::perms(0444));
    fs::permissions(dir.path(), fs::perms(0777));
    auto child = ChildProcess::fork(
        [&] { return asOrdinaryUser([&] { return WholeFile(dir / "file").isOpen() ? 2 : 0; }); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "file"), "protected");
    EXPECT_EQ(test_support::namesIn(dir.path()), Names{"file"});
}

TEST(WholeFileTest, NewFileInAProtectedDirectoryIsNotOpen) {
    const TempDir dir;
    fs::permissions(dir.path(), fs::perms(0555));
    auto child = ChildProcess::fork(
        [&] { return asOrdinaryUser([&] { return WholeFile(dir / "file").isOpen() ? 2 : 0; }); });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

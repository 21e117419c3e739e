#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using namespace test_support;

namespace fs = std::filesystem;

namespace {

constexpr char kExclusive[] = "LOCK_EX|LOCK_NB";
constexpr char kUnlock[] = "LOCK_UN";
constexpr char kEmptyReportLine[] = "[Crash Reporter] Empty crash report not sent.\n";

}  // namespace

TEST(FileUtilsTest, OpeningAMissingFileFailsAndCreatesNothing) {
    const TempDir dir;
    EXPECT_EQ(HCrashRptUtils::fileOpen(dir / "missing"), -1);
    EXPECT_FALSE(fs::exists(dir / "missing"));
}

TEST(FileUtilsTest, OpeningADirectoryFails) {
    const TempDir dir;
    EXPECT_EQ(HCrashRptUtils::fileOpen(dir.path()), -1);
}

TEST(FileUtilsTest, WritesAreAppended) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "old\n");
    const int fd = HCrashRptUtils::fileOpen(dir / "file");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(HCrashRptUtils::fileWrite(fd, "one\n"), 4);
    lseek(fd, 0, SEEK_SET);
    EXPECT_EQ(HCrashRptUtils::fileWrite(fd, std::string("t\0o\n", 4)), 4);
    EXPECT_EQ(HCrashRptUtils::fileClose(fd), 0);
    EXPECT_EQ(test_support::readFile(dir / "file"), std::string("old\none\nt\0o\n", 12));
}

TEST(FileUtilsTest, OpenedFileIsForWritingOnlyAndNotInherited) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "text");
    const int fd = HCrashRptUtils::fileOpen(dir / "file");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_WRONLY);
    // A program started meanwhile would otherwise keep the file's lock alive.
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    HCrashRptUtils::fileClose(fd);
}

TEST(FileUtilsTest, ClosingWhatIsNotOpenFails) {
    errno = 0;
    EXPECT_EQ(HCrashRptUtils::fileClose(-1), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(FileUtilsTest, WritingToWhatIsNotOpenFails) {
    errno = 0;
    EXPECT_EQ(HCrashRptUtils::fileWrite(-1, "text"), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(FileUtilsTest, ShortWriteIsNotRepeated) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    auto child = ChildProcess::fork([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {10, 10};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        const int fd = HCrashRptUtils::fileOpen(dir / "file");
        if (fd < 0) return 3;
        // A second write() would fail at the limit, and its -1 would be the result.
        return HCrashRptUtils::fileWrite(fd, std::string(25, 'x')) == 10 ? 0 : 4;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(test_support::readFile(dir / "file"), std::string(10, 'x'));
}

TEST(FileUtilsTest, LockTakesOnlyTheTwoExactModes) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    const int fd = HCrashRptUtils::fileOpen(dir / "file");
    ASSERT_GE(fd, 0);
    for (const char* mode : {"LOCK_EX|LOCK_NB ", " LOCK_EX|LOCK_NB", "LOCK_NB|LOCK_EX", "LOCK_EX",
                             "lock_un", "lock_ex|lock_nb", "LOCK_SH|LOCK_NB", ""}) {
        errno = 0;
        EXPECT_EQ(HCrashRptUtils::fileLock(fd, mode), -1) << mode;
        EXPECT_EQ(errno, 0) << "no call is made for " << mode;
    }
    EXPECT_EQ(HCrashRptUtils::fileLock(fd, kExclusive), 0);
    EXPECT_EQ(HCrashRptUtils::fileLock(fd, kUnlock), 0);
    HCrashRptUtils::fileClose(fd);
}

TEST(FileUtilsTest, UnknownModeLeavesAHeldLockAlone) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    const int holder = HCrashRptUtils::fileOpen(dir / "file");
    const int other = HCrashRptUtils::fileOpen(dir / "file");
    ASSERT_EQ(HCrashRptUtils::fileLock(holder, kExclusive), 0);
    EXPECT_EQ(HCrashRptUtils::fileLock(holder, "lock_un"), -1);
    EXPECT_EQ(HCrashRptUtils::fileLock(other, kExclusive), -1);
    HCrashRptUtils::fileClose(holder);
    HCrashRptUtils::fileClose(other);
}

TEST(FileUtilsTest, LockHeldElsewhereFailsAtOnce) {
    const TempDir dir;
    test_support::writeFile(dir / "file", "");
    const int holder = HCrashRptUtils::fileOpen(dir / "file");
    const int other = HCrashRptUtils::fileOpen(dir / "file");
    ASSERT_GE(holder, 0);
    ASSERT_GE(other, 0);
    ASSERT_EQ(HCrashRptUtils::fileLock(holder, kExclusive), 0);
    errno = 0;
    EXPECT_EQ(HCrashRptUtils::fileLock(other, kExclusive), -1);
    EXPECT_EQ(errno, EWOULDBLOCK);
    EXPECT_EQ(HCrashRptUtils::fileLock(holder, kUnlock), 0);
    EXPECT_EQ(HCrashRptUtils::fileLock(other, kExclusive), 0);
    HCrashRptUtils::fileClose(holder);
    HCrashRptUtils::fileClose(other);
}

TEST(FileUtilsTest, LockOfWhatIsNotOpenFails) {
    errno = 0;
    EXPECT_EQ(HCrashRptUtils::fileLock(-1, kExclusive), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST(FileUtilsTest, FileWithoutAReadableFirstCharacterIsEmpty) {
    const TempDir dir;
    test_support::writeFile(dir / "empty", "");
    EXPECT_TRUE(HCrashRptUtils::isFileEmpty(dir / "empty"));
    EXPECT_TRUE(HCrashRptUtils::isFileEmpty(dir / "missing"));
    EXPECT_TRUE(HCrashRptUtils::isFileEmpty(dir.path()));
    EXPECT_TRUE(HCrashRptUtils::isFileEmpty(""));
}

TEST(FileUtilsTest, ANamedPipeIsEmptyAndNotWaitedFor) {
    const TempDir dir;
    const std::string pipe = dir / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_TRUE(HCrashRptUtils::isFileEmpty(pipe));
}

TEST(FileUtilsTest, FileWithAnyFirstByteIsNotEmpty) {
    const TempDir dir;
    // 255 is what a careless comparison takes for the end of the file.
    for (const int byte : {0, 10, 26, 32, 65, 127, 128, 255}) {
        test_support::writeFile(dir / "file", std::string(1, static_cast<char>(byte)));
        EXPECT_FALSE(HCrashRptUtils::isFileEmpty(dir / "file")) << byte;
    }
}

TEST(FileUtilsTest, ReportWithContentIsLeftAloneInSilence) {
    const TempDir dir;
    test_support::writeFile(dir / "report", "{");
    const StdoutCapture capture;
    EXPECT_FALSE(HCrashRptUtils::handleIfEmptyFile(dir / "report"));
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::readFile(dir / "report"), "{");
}

TEST(FileUtilsTest, EmptyReportIsRemovedWithAMessage) {
    const TempDir dir;
    test_support::writeFile(dir / "report", "");
    const StdoutCapture capture;
    EXPECT_TRUE(HCrashRptUtils::handleIfEmptyFile(dir / "report"));
    EXPECT_EQ(capture.flushedText(), kEmptyReportLine);
    EXPECT_FALSE(fs::exists(dir / "report"));
}

TEST(FileUtilsTest, MissingReportIsRemovedInVainWithAMessage) {
    const TempDir dir;
    ScopedFakePlatform platform;
    std::vector<std::string> removed;
    const StdoutCapture capture;
    platform.onRm = [&](const std::string& path) {
        removed.push_back(path);
        EXPECT_EQ(capture.text(), "") << "the message follows the removal";
        return false;
    };
    EXPECT_TRUE(HCrashRptUtils::handleIfEmptyFile(dir / "missing"));
    EXPECT_EQ(capture.flushedText(), kEmptyReportLine);
    EXPECT_EQ(removed, std::vector<std::string>{dir / "missing"});
}

TEST(FileUtilsTest, EmptyPathCountsAsAnEmptyReportAndRemovesNothing) {
    ScopedFakePlatform platform;
    int removals = 0;
    platform.onRm = [&](const std::string&) {
        ++removals;
        return false;
    };
    const StdoutCapture capture;
    EXPECT_TRUE(HCrashRptUtils::handleIfEmptyFile(""));
    EXPECT_EQ(capture.flushedText(), kEmptyReportLine);
    EXPECT_EQ(removals, 0);
}

TEST(FileUtilsTest, DeleteBlanksTakesSpacesOnly) {
    EXPECT_EQ(HCrashRptUtils::deleteBlanks("Crash Report 1"), "CrashReport1");
    EXPECT_EQ(HCrashRptUtils::deleteBlanks("  a  b  "), "ab");
    EXPECT_EQ(HCrashRptUtils::deleteBlanks("a\tb\n c\r\v\f"), "a\tb\nc\r\v\f");
    EXPECT_EQ(HCrashRptUtils::deleteBlanks("   "), "");
    EXPECT_EQ(HCrashRptUtils::deleteBlanks(""), "");
    EXPECT_EQ(HCrashRptUtils::deleteBlanks("\xC2\xA0"), "\xC2\xA0");
}

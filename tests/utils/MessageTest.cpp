#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>

#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"
#include "utils/Message.h"

using namespace test_support;

TEST(MessageTest, MessageHasPrefixAndLineFeedAndIsFlushed) {
    const StdoutCapture capture;
    hcrpt::logInfo("Deleted crash store.");
    EXPECT_EQ(capture.flushedText(), "[Crash Reporter] Deleted crash store.\n");
}

TEST(MessageTest, ErrorHasItsOwnPrefixAndIsFlushed) {
    const StdoutCapture capture;
    hcrpt::logError("Something failed.");
    EXPECT_EQ(capture.flushedText(), "[Crash Reporter] Error: Something failed.\n");
}

TEST(MessageTest, RawTextIsPrintedAsItIsAndFlushed) {
    const StdoutCapture capture;
    hcrpt::printRaw("\nno prefix");
    EXPECT_EQ(capture.flushedText(), "\nno prefix");
}

TEST(MessageTest, UnflushedTextWaitsForTheNextMessage) {
    const StdoutCapture capture;
    hcrpt::printUnflushed("first ");
    EXPECT_EQ(capture.flushedText(), "");
    hcrpt::logInfo("second");
    EXPECT_EQ(capture.flushedText(), "first [Crash Reporter] second\n");
}

TEST(MessageTest, MessagesKeepTheirOrderWithTheHostsStdio) {
    const StdoutCapture capture;
    std::fputs("host ", stdout);
    hcrpt::logInfo("library");
    EXPECT_EQ(capture.flushedText(), "host [Crash Reporter] library\n");
}

TEST(MessageTest, TextMayHoldPercentSignsAndNulBytes) {
    const StdoutCapture capture;
    hcrpt::logInfo(std::string("100%s\0x", 7));
    EXPECT_EQ(capture.flushedText(), std::string("[Crash Reporter] 100%s\0x\n", 25));
}

TEST(MessageTest, ASignalCostsNothing) {
    const StdoutCapture capture;
    std::fputs("host ", stdout);
    int calls = 0;
    const seams::ScopedSeam seam(seams::onWrite,
                                 [&](int, const void*, std::size_t) -> std::optional<ssize_t> {
                                     if (++calls > 1) return std::nullopt;
                                     errno = EINTR;
                                     return -1;
                                 });
    hcrpt::logInfo("library");
    EXPECT_EQ(2, calls);
    EXPECT_EQ(capture.flushedText(), "host [Crash Reporter] library\n");
}

TEST(MessageTest, AfterClosingMessagesAreDroppedAndNeverReachAnotherFile) {
    const TempDir dir;
    auto child = ChildProcess::fork([&] {
        hcrpt::logInfo("before");
        hcrpt::closeStandardOutput();
        // The next file takes over descriptor 1.
        const int other = open((dir / "other").c_str(), O_WRONLY | O_CREAT, 0600);
        if (other != STDOUT_FILENO) return 2;
        hcrpt::logInfo("after");
        hcrpt::logError("after");
        hcrpt::printRaw("after");
        hcrpt::printUnflushed("after");
        hcrpt::closeStandardOutput();
        return fcntl(other, F_GETFD) == -1 ? 3 : 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "[Crash Reporter] before\n");
    EXPECT_EQ(test_support::readFile(dir / "other"), "");
}

TEST(MessageTest, FailedRedirectionLeavesStandardOutputWhereItIs) {
    const TempDir dir;
    auto child = ChildProcess::fork([&] {
        hcrpt::redirectStandardOutput(dir / "missing/log");
        hcrpt::logInfo("still here");
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_EQ(child.standardOutput(), "[Crash Reporter] still here\n");
    EXPECT_TRUE(test_support::namesIn(dir.path()).empty());
}

TEST(MessageTest, RedirectionKeepsTheProcessesUmask) {
    const TempDir dir;
    auto child = ChildProcess::fork([&] {
        umask(027);
        hcrpt::redirectStandardOutput(dir / "log");
        return umask(0) == 027 ? 0 : 2;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST(MessageTest, RedirectionLeavesTheRightsOfWhatIsNoFileAlone) {
    const TempDir dir;
    // A pipe stands for the devices.
    ASSERT_EQ(mkfifo((dir / "log").c_str(), 0600), 0);
    chmod((dir / "log").c_str(), 0644);
    const int reader = open((dir / "log").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    auto child = ChildProcess::fork([&] {
        hcrpt::redirectStandardOutput(dir / "log");
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    close(reader);
    struct stat status = {};
    ASSERT_EQ(stat((dir / "log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

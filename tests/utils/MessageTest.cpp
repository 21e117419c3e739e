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

TEST(MessageTest, EachKindHasItsPrefixAndIsFlushed) {
    const struct {
        void (*print)(const std::string& text);
        std::string text, printed;
    } cases[] = {
        {[](const std::string& text) { hcrpt::logInfo(text); }, "Deleted crash store.",
         "[Crash Reporter] Deleted crash store.\n"},
        {[](const std::string& text) { hcrpt::logError(text); }, "Something failed.",
         "[Crash Reporter] Error: Something failed.\n"},
        {[](const std::string& text) { hcrpt::printRaw(text); }, "\nno prefix", "\nno prefix"},
        {[](const std::string& text) { hcrpt::logInfo(text); }, std::string("100%s\0x", 7),
         std::string("[Crash Reporter] 100%s\0x\n", 25)},
    };
    for (const auto& each : cases) {
        const StdoutCapture capture;
        each.print(each.text);
        EXPECT_EQ(capture.flushedText(), each.printed);
    }
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
    EXPECT_EQ(test_support::modeOf(dir / "log"), 0644U);
}

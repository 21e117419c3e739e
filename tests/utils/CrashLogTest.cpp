#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/SessionScene.h"
#include "support/StdoutCapture.h"
#include "utils/Message.h"

using namespace test_support;

namespace fs = std::filesystem;

namespace {

/// Standard output can be given away only once: each test does so in a child.
class CrashLogTest : public test_support::SessionScene {
  protected:
    CrashLogTest() {
        platform.fakePid = 4711;
        platform.fakeWorkingDirectory = "/some/where";
    }
    void makeSessionDirectory() { fs::create_directories(sessionDirectory); }

    const std::string log = reporterLog("4711");
    const std::string startLine =
        "[Crash Reporter] Started with processId = 4711, at dir = '/some/where', at time = ";
};

}  // namespace

TEST_F(CrashLogTest, FlagIsFalseUntilTheRedirection) {
    makeSessionDirectory();
    auto child = ChildProcess::fork([&] {
        if (HCrashRptUtils::redirectedStdOut) return 2;
        HCrashRptUtils::redirectStdoutToCrashLog();
        return HCrashRptUtils::redirectedStdOut ? 0 : 3;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST_F(CrashLogTest, FirstLineSaysWhoStartedWhereAndWhenAndIsFlushed) {
    makeSessionDirectory();
    auto child = ChildProcess::fork([&] {
        const std::string before = HCrashRptUtils::timestamp();
        HCrashRptUtils::redirectStdoutToCrashLog();
        const std::string after = HCrashRptUtils::timestamp();
        const std::string content = test_support::readFile(log);
        // The clock may have ticked in between.
        return content == startLine + before + "\n" || content == startLine + after + "\n" ? 0 : 2;
    });
    EXPECT_EQ(child.wait(), exitedWith(0)) << test_support::readFile(log);
    EXPECT_EQ(child.standardOutput(), "");
}

TEST_F(CrashLogTest, LaterMessagesFollowInTheLog) {
    makeSessionDirectory();
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        const std::string before = test_support::readFile(log);
        hcrpt::logInfo("later");
        std::printf("host\n");
        std::fflush(stdout);
        return test_support::readFile(log) == before + "[Crash Reporter] later\nhost\n" ? 0 : 2;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST_F(CrashLogTest, OlderLogOfTheSameProcessIdIsEmptied) {
    makeSessionDirectory();
    test_support::writeFile(log, std::string(5000, 'x'));
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    const std::string content = test_support::readFile(log);
    EXPECT_EQ(content.find(startLine), 0U);
    EXPECT_EQ(content.size(), startLine.size() + 25);
}

TEST_F(CrashLogTest, LogIsForItsOwnerOnlyAlsoWhereOthersCouldReadAnOlderOne) {
    makeSessionDirectory();
    for (const bool isThere : {false, true}) {
        if (isThere) {
            ASSERT_EQ(chmod(log.c_str(), 0644), 0);
        }
        auto child = ChildProcess::fork([&] {
            umask(0);
            HCrashRptUtils::redirectStdoutToCrashLog();
            return 0;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        EXPECT_EQ(modeOf(log), 0600U);
    }
}

TEST_F(CrashLogTest, SecondRedirectionDoesNothingAlsoAfterClosing) {
    makeSessionDirectory();
    for (const bool isClosed : {false, true}) {
        auto child = ChildProcess::fork([&] {
            HCrashRptUtils::redirectStdoutToCrashLog();
            const std::string first = test_support::readFile(log);
            if (isClosed) HCrashRptUtils::closeCrashLogFile();
            if (!HCrashRptUtils::redirectedStdOut) return 2;
            platform.fakePid = 4712;
            HCrashRptUtils::redirectStdoutToCrashLog();
            return test_support::readFile(log) == first ? 0 : 3;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        EXPECT_FALSE(fs::exists(reporterLog("4712")));
    }
}

TEST_F(CrashLogTest, MissingDirectoryCountsAsRedirectedAndLeavesTheConsole) {
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        if (!HCrashRptUtils::redirectedStdOut) return 2;
        // There is no second attempt.
        makeSessionDirectory();
        HCrashRptUtils::redirectStdoutToCrashLog();
        hcrpt::logInfo("on the console");
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    const std::string output = child.standardOutput();
    EXPECT_EQ(output.rfind("[Crash Reporter] Started with processId = ", 0), 0U) << output;
    EXPECT_NE(output.find("\n[Crash Reporter] on the console\n"), std::string::npos) << output;
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(CrashLogTest, ClosingAfterAFailedRedirectionClosesTheConsole) {
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        HCrashRptUtils::closeCrashLogFile();
        return fcntl(STDOUT_FILENO, F_GETFD) == -1 ? 0 : 2;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
}

TEST_F(CrashLogTest, MissingDirectoryStaysMissing) {
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_FALSE(fs::exists(directory / ".crashReporter"));
}

TEST_F(CrashLogTest, ClosingWithoutRedirectionLeavesStandardOutputOpen) {
    const StdoutCapture capture;
    HCrashRptUtils::closeCrashLogFile();
    hcrpt::logInfo("still here");
    EXPECT_EQ(capture.text(), "[Crash Reporter] still here\n");
}

TEST_F(CrashLogTest, ClosingWritesWhatIsBufferedAndMayBeRepeated) {
    makeSessionDirectory();
    auto child = ChildProcess::fork([&] {
        HCrashRptUtils::redirectStdoutToCrashLog();
        hcrpt::printUnflushed("last words");
        HCrashRptUtils::closeCrashLogFile();
        if (fcntl(STDOUT_FILENO, F_GETFD) != -1) return 2;
        HCrashRptUtils::closeCrashLogFile();
        hcrpt::logInfo("dropped");
        return 0;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    const std::string content = test_support::readFile(log);
    ASSERT_GT(content.size(), 10U);
    EXPECT_EQ(content.substr(content.size() - 10), "last words");
}

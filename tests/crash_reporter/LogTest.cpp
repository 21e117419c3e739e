#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "StoreScene.h"
#include "crash_reporter/Log.h"
#include "support/ChildProcess.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::Log;
using crash_reporter::logError;
using crash_reporter::logInfo;
using namespace test_support;

/// Each case in a process of its own, whose standard output it redirects.
class LogTest : public crash_reporter_test::StoreScene {
  protected:
    void inChild(const std::function<void()>& body) {
        ChildProcess child = ChildProcess::fork([&] {
            platform.fakePid = 4711;
            body();
            return 0;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        EXPECT_EQ(child.standardOutput(), "");
        EXPECT_EQ(child.standardError(), "");
    }
    static bool endsWith(const std::string& text, const std::string& end) {
        return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
    }
    const std::string path = sessionDirectory + "/crashReporter4711.log";
};

TEST_F(LogTest, TakesMessagesErrorsAndWhatProgramsSay) {
    inChild([] {
        Log log;
        log.open();
        logInfo("one");
        logError("two");
        (void)std::system("echo three; echo four >&2");
        logInfo("five");
    });
    EXPECT_TRUE(endsWith(readFile(path),
                         "[Crash Reporter] one\n[Crash Reporter] Error: two\nthree\nfour\n"
                         "[Crash Reporter] five\n"))
        << readFile(path);
}

TEST_F(LogTest, SeveralProcessesAppendToIt) {
    inChild([] {
        Log log;
        log.open();
        ChildProcess other = ChildProcess::fork([] { return 0; });
        other.wait();
        const std::string same = "/proc/self/fd/1";
        FILE* again = std::fopen(same.c_str(), "a");
        logInfo("one");
        std::fputs("two\n", again);
        std::fclose(again);
        logInfo("three");
    });
    EXPECT_TRUE(endsWith(readFile(path), "] one\ntwo\n[Crash Reporter] three\n")) << readFile(path);
}

TEST_F(LogTest, ALargeOneBecomesTheOlderGenerationOnce) {
    inChild([] {
        Log log(2000);
        log.open();
        for (int round = 0; round < 3; ++round) {
            logInfo("round " + std::to_string(round) + " " + std::string(2000, 'x'));
            log.keep();
            log.keep();
            // Programs that it starts write into the same file.
            for (const int fd : {STDOUT_FILENO, STDERR_FILENO})
                if ((fcntl(fd, F_GETFL) & O_APPEND) == 0) _exit(1);
        }
        (void)std::system("echo tool >&2");
    });
    EXPECT_EQ(namesIn(sessionDirectory),
              (std::vector<std::string>{"crashReporter4711.log", "crashReporter4711.log.old",
                                        "crashStore"}));
    const std::string older = readFile(path + ".old");
    EXPECT_NE(older.find("round 2"), std::string::npos);
    EXPECT_EQ(older.find("round 1"), std::string::npos);
    const std::string log = readFile(path);
    EXPECT_EQ(log.rfind("[Crash Reporter] Log of process 4711 goes on, at time = ", 0), 0U);
    EXPECT_TRUE(endsWith(log, "\ntool\n"));
    struct stat status = {};
    stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(LogTest, OneThatHasJustReachedItsBoundBecomesTheOlderGeneration) {
    inChild([this] {
        Log first;
        first.open();
        const auto size = static_cast<off_t>(fs::file_size(path));
        for (const off_t bound : {size + 1, size}) {
            Log log(bound);
            log.open();
            log.keep();
            if (fs::exists(path + ".old") != (bound == size)) _exit(1);
        }
    });
}

TEST_F(LogTest, ASmallOneIsLeftAlone) {
    inChild([] {
        Log log;
        log.open();
        logInfo("one");
        log.keep();
    });
    EXPECT_EQ(readFile(path).rfind("[Crash Reporter] Started with processId = 4711", 0), 0U);
    EXPECT_FALSE(fs::exists(path + ".old"));
}

TEST_F(LogTest, IsMadeAgainWhenItsDirectoryIsBack) {
    inChild([this] {
        Log log;
        log.open();
        fs::remove_all(sessionDirectory);
        log.keep();
        logInfo("unheard");
        fs::create_directory(sessionDirectory);
        log.keep();
        logInfo("heard");
    });
    EXPECT_TRUE(endsWith(readFile(path), "\n[Crash Reporter] heard\n"));
}

TEST_F(LogTest, AnotherFileInItsPlaceIsLeftAlone) {
    inChild([this] {
        Log log(10);
        log.open();
        fs::remove(path);
        test_support::writeFile(path, "another");
        log.keep();
    });
    EXPECT_EQ(readFile(path), "another");
}

}  // namespace

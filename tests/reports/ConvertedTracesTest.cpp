#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <string>

#include "hcrpt/HCrashReportMgr.h"
#include "support/SessionScene.h"

using namespace test_support;

namespace fs = std::filesystem;

namespace {

class ConvertedTracesTest : public test_support::SessionScene {
  protected:
    ConvertedTracesTest() { add("hs_mangled_err_pid7.log", "libfoo.so(_Z3foov+0x1)[0x1]\n"); }

    static void pass() { HCrashReportMgr::probeAndGetCrashReports(); }
    /// Until a later change of the raw trace would show in its times.
    static void settle() { sleep(3); }
    ino_t logInode() const {
        struct stat status = {};
        EXPECT_EQ(stat(log.c_str(), &status), 0);
        return status.st_ino;
    }

    const std::string raw = rawTrace("7");
    const std::string log = stackTraceLog("7");
};

}  // namespace

TEST_F(ConvertedTracesTest, ALogIsLeftAloneWhileNeitherItNorItsTraceChanges) {
    settle();
    pass();
    const ino_t first = logInode();
    // Takes the number that the log's would get if it were made anew.
    writeFile(directory / "another", "");
    pass();
    EXPECT_EQ(logInode(), first);
}

TEST_F(ConvertedTracesTest, AYoungTraceIsMadeReadableInEachPass) {
    ino_t first = 0;
    time_t begin = 0;
    do {  // again where it grew old on the way
        begin = time(nullptr);
        writeFile(raw, "libfoo.so(_Z3foov+0x1)[0x1]\n");
        pass();
        first = logInode();
        pass();
    } while (time(nullptr) != begin);
    EXPECT_NE(logInode(), first);
}

TEST_F(ConvertedTracesTest, AChangedTraceIsMadeReadableAgain) {
    settle();
    pass();
    writeFile(raw, "libfoo.so(_Z3barv+0x1)[0x1]\n");
    pass();
    EXPECT_EQ(readFile(log), "libfoo.so(bar()+0x1)[0x1]\n");
}

TEST_F(ConvertedTracesTest, ARemovedLogIsMadeAgain) {
    settle();
    pass();
    fs::remove(log);
    pass();
    EXPECT_EQ(readFile(log), "libfoo.so(foo()+0x1)[0x1]\n");
}

TEST_F(ConvertedTracesTest, AnAlteredLogIsMadeAgain) {
    settle();
    pass();
    writeFile(log, "altered");
    pass();
    EXPECT_EQ(readFile(log), "libfoo.so(foo()+0x1)[0x1]\n");
}

TEST_F(ConvertedTracesTest, ATraceThatCameAgainUnderTheSameNameIsMadeReadable) {
    settle();
    pass();
    fs::remove(raw);
    pass();
    writeFile(raw, "libfoo.so(_Z3barv+0x1)[0x1]\n");
    pass();
    EXPECT_EQ(readFile(log), "libfoo.so(bar()+0x1)[0x1]\n");
}

TEST_F(ConvertedTracesTest, ALogThatAFullDiskCutShortIsWrittenAgain) {
    std::string trace;
    for (int i = 0; i < 1000; ++i) trace += "libfoo.so(_Z3foov+0x1)[0x1]\n";
    writeFile(raw, trace);
    settle();
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small = {4096, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    pass();
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    ASSERT_EQ(fs::file_size(log), 4096U);
    pass();
    EXPECT_GT(fs::file_size(log), 4096U);
}

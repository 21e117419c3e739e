#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/SessionScene.h"
#include "support/StdoutCapture.h"

using HCrashReportMgr::MangledStackTraceHandler;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

class MangledStackTraceHandlerTest : public test_support::SessionScene {
  protected:
    /// The stack-trace log of a raw trace.
    std::string readable(const std::string& content) {
        test_support::writeFile(raw, content);
        EXPECT_EQ(handler.demangleBTFile(raw), log);
        return test_support::readFile(log);
    }

    MangledStackTraceHandler handler;
    const std::string raw = data + "/hs_mangled_err_pid4711.log";
    const std::string log = data + "/hs_err_pid4711.log";
};

}  // namespace

// --- Lines ---------------------------------------------------------------------------------------

TEST_F(MangledStackTraceHandlerTest, LinesLoseTheirPathAndShowReadableNames) {
    EXPECT_EQ(readable("Stack trace:\n"
                       "/opt/app/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f3a2c1d4e5f]\n"
                       "/usr/lib64/libc.so.6(abort+0x12b)[0x7f00]\n"
                       "./prog(main+0x10)[0x400000]\n"),
              "Stack trace:\n"
              "libfoo.so(foo::bar()+0x1a)[0x7f3a2c1d4e5f]\n"
              "libc.so.6(abort+0x12b)[0x7f00]\n"
              "prog(main+0x10)[0x400000]\n");
}

TEST_F(MangledStackTraceHandlerTest, LinesWithoutSymbolAreCopiedWithoutTheirPath) {
    EXPECT_EQ(readable("/opt/lib/libfoo.so[0x7f00]\nplain text\n/usr/lib/libx++.so(_Z1fv+0x1)\n"),
              "libfoo.so[0x7f00]\nplain text\nlibx++.so(_Z1fv+0x1)\n");
}

TEST_F(MangledStackTraceHandlerTest, ALeadingSlashThatIsTheOnlyOneStays) {
    EXPECT_EQ(readable("/prog(_Z1fv+0x1)\n//prog(_Z1fv+0x1)\n"), "/prog(f()+0x1)\nprog(f()+0x1)\n");
}

TEST_F(MangledStackTraceHandlerTest, BlankLinesAreLeftOut) {
    EXPECT_EQ(readable("\n\na\n\nb\n\n\n"), "a\nb\n");
}

TEST_F(MangledStackTraceHandlerTest, LineOfWhiteSpaceIsNoBlankLine) {
    EXPECT_EQ(readable(" \n\t\n\r\n"), " \n\t\n\r\n");
}

TEST_F(MangledStackTraceHandlerTest, LineCleanedToNothingIsWrittenAsAnEmptyLine) {
    EXPECT_EQ(readable("a\n/opt/lib/\nb\n"), "a\n\nb\n");
}

TEST_F(MangledStackTraceHandlerTest, LastLineNeedsNoLineFeed) {
    EXPECT_EQ(readable("/opt/a\n/opt/b"), "a\nb\n");
}

TEST_F(MangledStackTraceHandlerTest, OwnFramesAreDropped) {
    EXPECT_EQ(readable("/opt/lib/libzeb_HCrashReporter.so(+0x1)[0x1]\n"
                       "/opt/lib/libfoo.so(_ZN14HCrashReporter12registrationEv+0x1)[0x1]\n"
                       "kept\n"
                       "text HCrashReporter text\n"
                       "/opt/lib/libhcrashreporter.so(f)\n"),
              "kept\nlibhcrashreporter.so(f)\n");
}

TEST_F(MangledStackTraceHandlerTest, FramesOfTheStreamLibraryAreDropped) {
    EXPECT_EQ(readable("/opt/lib/libopx_iostreams.so(_Z1fv+0x1)[0x1]\nkept\n"
                       "x libopx_iostreams y\n/opt/lib/libopx_iostream.so(f)\n"),
              "kept\nlibopx_iostream.so(f)\n");
}

TEST_F(MangledStackTraceHandlerTest, WordsInAFramesDirectoryDoNotDropIt) {
    EXPECT_EQ(readable("/opt/HCrashReporter/lib/libfoo.so(_Z1fv+0x1)[0x1]\n"
                       "/opt/libopx_iostreams/libbar.so(_Z1gv+0x1)[0x1]\n"),
              "libfoo.so(f()+0x1)[0x1]\nlibbar.so(g()+0x1)[0x1]\n");
}

TEST_F(MangledStackTraceHandlerTest, WordsCountAsTheyStandInTheMangledName) {
    // Readable as HCrashReporte(int* restrict): the word is gone then.
    EXPECT_EQ(readable("/opt/libfoo.so(_Z13HCrashReporterPi+0x1)[0x1]\nkept\n"), "kept\n");
}

TEST_F(MangledStackTraceHandlerTest, TraceOfOwnFramesOnlyGivesAnEmptyLog) {
    EXPECT_EQ(readable("/a/libHCrashReporter.so(f)\n\nHCrashReporter\n"), "");
    EXPECT_TRUE(fs::exists(log));
}

TEST_F(MangledStackTraceHandlerTest, EmptyTraceGivesAnEmptyLog) {
    EXPECT_EQ(readable(""), "");
    EXPECT_TRUE(fs::exists(log));
}

TEST_F(MangledStackTraceHandlerTest, LineEndsAtANulByte) {
    // Also for its path: a slash behind the NUL byte does not count.
    EXPECT_EQ(readable(std::string("/opt/libfoo.so\0/tail\nnext\n", 26)), "libfoo.so\nnext\n");
    EXPECT_EQ(readable(std::string("\0tail\nnext\n", 11)), "\nnext\n");
}

TEST_F(MangledStackTraceHandlerTest, LineLongerThanAnyStackPasses) {
    struct rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_STACK, &limit), 0);
    // Unlimited stacks are rare; then the usual limit's size shows enough.
    const std::size_t usual = 8U << 20;
    const std::size_t size =
        limit.rlim_cur == RLIM_INFINITY ? usual : static_cast<std::size_t>(limit.rlim_cur);
    const std::string name(size + 1, 'x');
    EXPECT_TRUE(readable("/opt/" + name + "\nnext\n") == name + "\nnext\n");
}

// --- Paths and files -----------------------------------------------------------------------------

TEST_F(MangledStackTraceHandlerTest, PathOfFewerThan18CharactersIsOutOfRange) {
    for (const std::string path : {"", "mangled_", "/t/mangled_pid12", "12345678901234567"}) {
        std::string complaint;
        try {
            handler.demangleBTFile(path);
        } catch (const std::out_of_range& error) {
            complaint = error.what();
        }
        EXPECT_EQ(complaint, "too short for a raw trace: " + path);
    }
}

TEST_F(MangledStackTraceHandlerTest, PathOf18CharactersIsLongEnough) {
    EXPECT_EQ(handler.demangleBTFile("123456789012345678"), "");
    EXPECT_EQ(handler.demangleBTFile("/nowhere/mangled_1"), "/nowhere/1");
}

TEST_F(MangledStackTraceHandlerTest, PathWithoutTheMarkIsLeftAlone) {
    const std::string path = data + "/hs_Mangled_err_pid4711.log";
    test_support::writeFile(path, "line\n");
    EXPECT_EQ(handler.demangleBTFile(path), "");
    EXPECT_EQ(test_support::namesIn(data), std::vector<std::string>{"hs_Mangled_err_pid4711.log"});
}

TEST_F(MangledStackTraceHandlerTest, FirstMarkOfTheWholePathIsRemovedDirectoriesIncluded) {
    fs::create_directories(data + "/mangled_dir");
    fs::create_directories(data + "/dir");
    const std::string inside = data + "/mangled_dir/hs_mangled_err_pid1.log";
    test_support::writeFile(inside, "line\n");
    EXPECT_EQ(handler.demangleBTFile(inside), data + "/dir/hs_mangled_err_pid1.log");
    EXPECT_EQ(test_support::readFile(data + "/dir/hs_mangled_err_pid1.log"), "line\n");
}

TEST_F(MangledStackTraceHandlerTest, OnlyOneMarkIsRemoved) {
    const std::string path = data + "/hs_mangled_mangled_1.log";
    test_support::writeFile(path, "line\n");
    EXPECT_EQ(handler.demangleBTFile(path), data + "/hs_mangled_1.log");
}

TEST_F(MangledStackTraceHandlerTest, UnreadableTraceGivesAPathWithoutAFile) {
    const StdoutCapture capture;
    EXPECT_EQ(handler.demangleBTFile(raw), log);
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(MangledStackTraceHandlerTest, ANamedPipeIsUnreadableAndNotWaitedFor) {
    ASSERT_EQ(mkfifo(raw.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(handler.demangleBTFile(raw), log);
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(MangledStackTraceHandlerTest, ANamedPipeInPlaceOfTheLogIsNotWaitedFor) {
    ASSERT_EQ(mkfifo(log.c_str(), S_IRUSR | S_IWUSR), 0);
    test_support::writeFile(raw, "line\n");
    EXPECT_EQ(handler.demangleBTFile(raw), log);
    EXPECT_TRUE(fs::is_fifo(log));
}

TEST_F(MangledStackTraceHandlerTest, UnreadableTraceLeavesAnOlderLogAlone) {
    test_support::writeFile(log, "older\n");
    EXPECT_EQ(handler.demangleBTFile(raw), log);
    EXPECT_EQ(test_support::readFile(log), "older\n");
}

TEST_F(MangledStackTraceHandlerTest, LogThatCannotBeWrittenStillHasItsPath) {
    fs::create_directories(log);
    test_support::writeFile(raw, "line\n");
    const StdoutCapture capture;
    EXPECT_EQ(handler.demangleBTFile(raw), log);
    EXPECT_TRUE(fs::is_directory(log));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(MangledStackTraceHandlerTest, OlderLogIsReplacedNotAppendedTo) {
    test_support::writeFile(log, "an older and longer log\nof two lines\n");
    EXPECT_EQ(readable("line\n"), "line\n");
}

TEST_F(MangledStackTraceHandlerTest, RawTraceStaysAsItIs) {
    const std::string content = "/opt/lib/libfoo.so(_Z1fv+0x1)\n\n";
    readable(content);
    EXPECT_EQ(test_support::readFile(raw), content);
    EXPECT_EQ(test_support::namesIn(data),
              (std::vector<std::string>{"hs_err_pid4711.log", "hs_mangled_err_pid4711.log"}));
}

TEST_F(MangledStackTraceHandlerTest, LogAppearsWholeUnderItsName) {
    std::string hidden;
    bool visibleBefore = true;
    const seams::ScopedSeam seam(seams::onRename, [&](const char* from, const char* to) {
        EXPECT_EQ(to, log);
        visibleBefore = fs::exists(log);
        hidden = test_support::readFile(from);
        return std::optional<int>();
    });
    EXPECT_EQ(readable("/opt/a\n/opt/b\n"), "a\nb\n");
    EXPECT_FALSE(visibleBefore);
    EXPECT_EQ(hidden, "a\nb\n");
}

TEST_F(MangledStackTraceHandlerTest, LogIsForItsOwnerOnly) {
    umask(0);
    readable("line\n");
    EXPECT_EQ(test_support::modeOf(log), 0600U);
}

TEST_F(MangledStackTraceHandlerTest, FullDiskStillReleasesTheWaitingProcess) {
    constexpr rlim_t kRoom = 1000;
    test_support::writeFile(raw, std::string(100000, 'x') + "\n");
    auto child = ChildProcess::fork([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {kRoom, kRoom};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        return handler.demangleBTFile(raw) == log ? 0 : 3;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(fs::exists(log));
    EXPECT_LE(fs::file_size(log), kRoom);
}

// --- Lists ---------------------------------------------------------------------------------------

TEST_F(MangledStackTraceHandlerTest, ResultsKeepTheirOrderEmptyOnesIncluded) {
    const std::string second = data + "/hs_mangled_err_pid2.log";
    test_support::writeFile(second, "two\n");
    const std::string markless = data + "/no_mark_in_this_name.log";
    test_support::writeFile(markless, "x\n");
    EXPECT_EQ(
        handler.generateDemangledBTFiles({second, markless, raw, second}),
        (std::vector<std::string>{data + "/hs_err_pid2.log", "", log, data + "/hs_err_pid2.log"}));
    EXPECT_TRUE(handler.generateDemangledBTFiles({}).empty());
}

TEST_F(MangledStackTraceHandlerTest, EveryRawTraceOfTheStoreIsMadeReadable) {
    fs::create_directories(store + "/hs_mangled_err_pid9.log");  // no trace: a directory
    add("hs_mangled_err_pid1.log", "one\n");
    add("hs_mangled_err_pid2.log", "two\n");
    add("other_mangled_err_pid3.log", "three\n");
    add("CrashReport_a.json", "{}");

    HCrashReportMgr::HCrashReportHandler& base = handler;
    EXPECT_EQ(base.getReportsInCrashStore(),
              std::vector<std::string>{store + "/CrashReport_a.json"});
    EXPECT_EQ(test_support::readFile(store + "/hs_err_pid1.log"), "one\n");
    EXPECT_EQ(test_support::readFile(store + "/hs_err_pid2.log"), "two\n");
    EXPECT_FALSE(fs::exists(store + "/hs_err_pid9.log"));
    EXPECT_FALSE(fs::exists(store + "/other_err_pid3.log"));
}

TEST_F(MangledStackTraceHandlerTest, AReportThatComesWhileTracesAreMadeReadableIsListed) {
    add("hs_mangled_err_pid1.log", "one\n");
    const seams::ScopedSeam seam(seams::onRename, [&](const char*, const char*) {
        add("CrashReport_a.json");
        return std::optional<int>();
    });
    EXPECT_EQ(handler.getReportsInCrashStore(),
              std::vector<std::string>{store + "/CrashReport_a.json"});
}

TEST_F(MangledStackTraceHandlerTest, EveryLineOfALongTraceIsWrittenOnce) {
    std::string raw_lines;
    std::string expected;
    for (int i = 0; i < 5000; ++i) {
        raw_lines += "/lib/libfoo.so(_Z3barv+0x" + std::to_string(i) + ")[0x7f00]\n";
        expected += "libfoo.so(bar()+0x" + std::to_string(i) + ")[0x7f00]\n";
    }
    EXPECT_EQ(readable(raw_lines), expected);
}

TEST_F(MangledStackTraceHandlerTest, AnUnwantedWordBehindItsRarestLetterIsFound) {
    EXPECT_EQ(readable("libxx.so(x+0x1)[0x1] libopx_iostreams\nlibHH.so(H+0x1)HCrashReporter\n"
                       "x\nlibop\nHCrash\n"),
              "x\nlibop\nHCrash\n");
}

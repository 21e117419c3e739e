#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "capture/CrashScene.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/LinkSeams.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using HCrashReporter::HCrptLinuxExceptionHandler;
using namespace test_support;

namespace {

constexpr std::size_t kChunk = 10000;  // bytes that printTrace() looks at together

std::string repeated(const std::string& text, std::size_t times) {
    std::string result;
    while (times-- > 0) result += text;
    return result;
}

/// What a function writes to the descriptor that it is given.
std::string writtenBy(const std::function<void(int fd)>& body) {
    const TempDir directory;
    const std::string path = directory / "written";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_GE(fd, 0);
    body(fd);
    close(fd);
    return readFile(path);
}

// --- demangle -----------------------------------------------------------------------------------

std::string demangled(const std::string& line) {
    HCrptLinuxExceptionHandler handler;
    std::string copy = line;
    const std::string written = writtenBy([&](int fd) { handler.demangle(fd, copy.data()); });
    EXPECT_EQ(line, copy) << "the caller's line was changed";
    return written;
}

/// Takes both scratch buffers, as a proof that they are free, and gives them back.
void expectScratchBuffersFree() {
    EXPECT_NE(nullptr, HCrptResourceMgr::getScratchBuffer1());
    EXPECT_NE(nullptr, HCrptResourceMgr::getScratchBuffer2());
    HCrptResourceMgr::releaseScratchBuffer1();
    HCrptResourceMgr::releaseScratchBuffer2();
}

struct LineCase {
    const char* name;
    std::string line;
    std::string want;
};

void PrintTo(const LineCase& row, std::ostream* out) {
    *out << row.name;
}

class TraceLineTest : public testing::TestWithParam<LineCase> {};

TEST_P(TraceLineTest, IsWrittenAsTheTableSaysAndBuffersAreFreeAfterwards) {
    EXPECT_EQ(GetParam().want, demangled(GetParam().line));
    expectScratchBuffersFree();
}

LineCase unchanged(const char* name, const std::string& line) {
    return {name, line, line};
}

INSTANTIATE_TEST_SUITE_P(
    Table, TraceLineTest,
    testing::Values(
        LineCase{"FunctionWithoutArguments", "libx.so(_Z3foov+0x1d) [0x7f01]\n",
                 "libx.so(foo()+0x1d) [0x7f01]\n"},
        LineCase{"FunctionOfAClass", "/opt/libx.so(_ZN1a1b3fooEiPKc+0x1) [0x7]",
                 "/opt/libx.so(a::b::foo(int, char const*)+0x1) [0x7]"},
        LineCase{"TwoCharactersAreEnough", "libx.so(Pi+0x1)\n", "libx.so(int*+0x1)\n"},
        LineCase{"NameToTheEndOfTheLine", "libx.so(_Z3foov", "libx.so(foo()"},
        LineCase{"PlusBeforeTheParenthesis", "lib++.so(_Z3foov+0x1)", "lib++.so(foo()+0x1)"},
        LineCase{"FirstParenthesisCounts", "(_Z3foov+(_Z3barv+1)", "(foo()+(_Z3barv+1)"},
        LineCase{"FirstPlusAfterTheParenthesisCounts", "(_Z3foov+_Z3barv+1)", "(foo()+_Z3barv+1)"},
        unchanged("NoParenthesis", "libx.so [0x7f01]\n"), unchanged("Empty", ""),
        unchanged("OneCharacterIsTooShort", "libx.so(i+0x1d) [0x7f01]\n"),
        unchanged("NoName", "libx.so(+0x1d) [0x7f01]\n"),
        unchanged("NothingAfterTheParenthesis", "libx.so("),
        unchanged("PlainName", "libx.so(main+0x1d) [0x7f01]\n"),
        unchanged("BrokenName", "libx.so(_Z9foo+0x1d) [0x7f01]\n"),
        unchanged("ClosingParenthesisBelongsToTheName", "libx.so(_Z3foov) [0x7f01]\n"),
        LineCase{"TenThousandCharacters", "(_Z3foov+" + std::string(9991, 'x'),
                 "(foo()+" + std::string(9991, 'x')},
        unchanged("TenThousandAndOneCharacters", "(_Z3foov+" + std::string(9992, 'x'))),
    [](const auto& row) { return std::string(row.param.name); });

TEST(DemangleTest, ATakenBufferLeavesTheLineUnchangedAndBothAreReleasedAllTheSame) {
    using Take = char* (*)();
    const std::vector<std::vector<Take>> taken = {
        {&HCrptResourceMgr::getScratchBuffer1},
        {&HCrptResourceMgr::getScratchBuffer2},
        {&HCrptResourceMgr::getScratchBuffer1, &HCrptResourceMgr::getScratchBuffer2}};
    HCrptResourceMgr::get();
    for (const char* line : {"libx.so(_Z3foov+0x1d)\n", "no parenthesis\n"}) {
        for (const auto& buffers : taken) {
            for (const Take take : buffers) ASSERT_NE(nullptr, take());
            EXPECT_EQ(line, demangled(line));
            expectScratchBuffersFree();
        }
    }
}

/// A name of which the demangled form, "f(aaa, aaa, …, bbb)", has exactly this many characters.
/// Many short arguments: the demangler refuses names of more than about a thousand characters.
std::string nameWithDemangledLength(std::size_t length) {
    constexpr std::size_t argument = 198;
    const std::size_t times = (length - 4) / (argument + 2);
    const std::size_t last = length - 3 - times * (argument + 2);
    return "_Z1f" + std::to_string(argument) + std::string(argument, 'a') +
           repeated("S_", times - 1) + std::to_string(last) + std::string(last, 'b');
}

TEST(DemangleTest, AReadableNameThatFillsTheScratchBufferIsWritten) {
    const std::string written = demangled("(" + nameWithDemangledLength(9999) + "+0x1)\n");
    EXPECT_EQ(1 + 9999U + 6, written.size());
    EXPECT_EQ("(f(aaa", written.substr(0, 6));
    EXPECT_EQ("bbb)+0x1)\n", written.substr(written.size() - 10));
}

TEST(DemangleTest, AReadableNameLongerThanTheScratchBufferLeavesTheLineAndTheBuffer) {
    HCrptResourceMgr::get();
    char* const before = HCrptResourceMgr::getScratchBuffer2();
    HCrptResourceMgr::releaseScratchBuffer2();
    for (const std::size_t length : {10000U, 10001U, 30000U}) {
        const std::string line = "(" + nameWithDemangledLength(length) + "+0x1)\n";
        EXPECT_EQ(line, demangled(line));
        expectScratchBuffersFree();
    }
    char* const after = HCrptResourceMgr::getScratchBuffer2();
    ASSERT_EQ(before, after);
    std::memset(after, 'x', 10000);  // a sanitizer would see a buffer that was given back
}

// --- printTrace ---------------------------------------------------------------------------------

const std::string kNoFile = "Error opening File. Could not write stacktrace!\n";

/// What printTrace() writes, by way of a raw trace file that holds an old content already.
std::string traceOver(const CrashScene& scene, const std::string& oldContent,
                      unsigned long maxFrames) {
    HCrptLinuxExceptionHandler handler;
    if (!oldContent.empty()) writeFile(scene.rawTrace(), oldContent);
    return writtenBy([&](int fd) { EXPECT_TRUE(handler.printTrace(fd, maxFrames)); });
}

std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++found;
    return found;
}

constexpr unsigned long kAllFrames = 1000000;

/// A content of which the first chunk is the trace, dots up to a line feed, and then short lines;
/// what follows it is as given. (The trace is written over the old content, which stays behind it.)
std::string behindTheFirstChunk(const std::string& rest) {
    constexpr std::size_t kReserved = 9000;  // bytes; more than the traces of these cases take
    return std::string(kReserved - 1, '.') + "\n" + repeated(".\n", (kChunk - kReserved) / 2) +
           rest;
}

std::string withoutFirstChunk(const std::string& written) {
    const std::size_t last = written.rfind(".\n");
    if (last == std::string::npos) ADD_FAILURE() << "the first chunk was not read to its end";
    return last == std::string::npos ? written : written.substr(last + 2);
}

}  // namespace

// Outside the unnamed namespace: they show by name in a trace.
[[gnu::noinline]] void innerStep(int left, const std::function<void()>& action) {
    if (left <= 0)
        action();
    else
        innerStep(left - 1, action);
    asm volatile("");  // keeps the call from becoming a jump
}

namespace {

TEST(PrintTraceTest, WritesTheCallingFramesReadably) {
    const CrashScene scene;
    std::string written;
    innerStep(5, [&] { written = traceOver(scene, "", kAllFrames); });
    EXPECT_EQ(6U, count(written, "innerStep(int, std::function<void ()> const&)+0x")) << written;
    EXPECT_NE(std::string::npos, written.find("main+0x")) << written;
    EXPECT_EQ(std::string::npos, written.find("HCrashReporter"));
    EXPECT_EQ(std::string::npos, written.find('/')) << "paths are cut off\n" << written;
}

TEST(PrintTraceTest, LeavesTheRawLinesInTheRawTraceFile) {
    const CrashScene scene;
    innerStep(1, [&] { traceOver(scene, "", kAllFrames); });
    EXPECT_EQ(2U, count(readFile(scene.rawTrace()), "(_Z9innerStepiRKSt8functionIFvvEE+0x"));
}

TEST(PrintTraceTest, TakesUpTo200Frames) {
    const CrashScene scene;
    innerStep(300, [&] { traceOver(scene, "", 0); });
    EXPECT_EQ(200U, count(readFile(scene.rawTrace()), "\n"));
}

TEST(PrintTraceTest, WritesOneLineMoreThanTheLimitOnPurpose) {
    const CrashScene scene;
    for (const unsigned long maxFrames : {5UL, 1UL}) {
        std::string written;
        innerStep(20, [&] { written = traceOver(scene, "", maxFrames); });
        EXPECT_EQ(maxFrames + 1, count(written, "\n")) << written;
    }
}

TEST(PrintTraceTest, ALimitOfZeroWritesOneLine) {
    const CrashScene scene;
    EXPECT_EQ(1U, count(traceOver(scene, "", 0), "\n"));
}

TEST(PrintTraceTest, TheLimitHoldsForEachChunkAnew) {
    const CrashScene scene;
    const std::string line = "libx.so(_Z3foov+0x1) [0x12]\n";
    const std::string written = traceOver(scene, repeated(line, 3 * kChunk / line.size() - 1), 2);
    EXPECT_EQ(9U, count(written, "\n")) << written;
}

TEST(PrintTraceTest, ATraceOverOneChunkIsReadToItsEnd) {
    const CrashScene scene;
    const std::string written =
        traceOver(scene, behindTheFirstChunk("libx.so(_Z3foov+0x1)\nsecond\n"), kAllFrames);
    EXPECT_EQ("libx.so(foo()+0x1)\nsecond\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, DropsFramesOfTheReporterAndOfTheStreamLibrary) {
    const CrashScene scene;
    const std::string written =
        traceOver(scene,
                  behindTheFirstChunk("first\n"
                                      "libx.so(_ZN14HCrashReporter3fooEv+0x1)\n"
                                      "/opt/lib/libzeb_HCrashReporter.so(_Z3foov+0x1)\n"
                                      "/opt/lib/libopx_iostreams.so(_Z3foov+0x1)\n"
                                      "last\n"),
                  kAllFrames);
    EXPECT_EQ("first\nlast\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, TheFilterLooksAtTheLineWithoutItsPathAndBeforeDemangling) {
    const CrashScene scene;
    const std::string written =
        traceOver(scene,
                  behindTheFirstChunk("/opt/HCrashReporter/libopx_iostreams.d/libx.so(_Z3foov+1)\n"
                                      "libx.so(_Z3foov+1) HCrashReporter\n"),
                  kAllFrames);
    EXPECT_EQ("libx.so(foo()+1)\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, DroppedFramesDoNotCount) {
    const CrashScene scene;
    const std::string written = traceOver(
        scene, behindTheFirstChunk(repeated("HCrashReporter\n", 10) + "first\nsecond\nthird\n"), 1);
    EXPECT_EQ("first\nsecond\n", written.substr(written.size() - 13)) << written;
    EXPECT_EQ(4U, count(written, "\n")) << "two lines of each chunk";
}

TEST(PrintTraceTest, ALineOfOneCharacterEndsItsChunkOnly) {
    const CrashScene scene;
    // The first chunk holds an empty line; what follows it there is not reached.
    std::string old = behindTheFirstChunk("next chunk\n");
    old.replace(kChunk - 20, 20, "a\n\nunreached line.1\n");
    const std::string written = traceOver(scene, old, kAllFrames);
    EXPECT_EQ("a\nnext chunk\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, ALineCutByTheEndOfAChunkIsDroppedAndItsRestStartsTheNextOne) {
    const CrashScene scene;
    std::string old = behindTheFirstChunk("");
    old.replace(kChunk - 8, 8, "cut here");
    old += " rest\nwhole\n";
    const std::string written = traceOver(scene, old, kAllFrames);
    EXPECT_EQ(" rest\nwhole\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, AChunkWithoutAnyLineFeedEndsAndNeverLoops) {
    const CrashScene scene;
    const std::string written =
        traceOver(scene, behindTheFirstChunk(std::string(2 * kChunk, 'x') + "end\n"), kAllFrames);
    EXPECT_EQ("end\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, ALineOfNearlyAChunkIsDroppedWithItsRest) {
    const CrashScene scene;
    const std::string written = traceOver(
        scene, behindTheFirstChunk(std::string(kChunk - 1, 'x') + "\nafter\n"), kAllFrames);
    EXPECT_EQ("after\n", withoutFirstChunk(written));
}

TEST(PrintTraceTest, TheEndOfAnEarlierChunkIsNotReadAgain) {
    const CrashScene scene;
    const std::string written =
        traceOver(scene, behindTheFirstChunk(repeated("early\n", 1700)), kAllFrames);
    withoutFirstChunk(written);
    EXPECT_EQ(1699U, count(written, "early\n")) << "one of them is cut by the end of a chunk";
}

TEST(PrintTraceTest, ARawTraceFileThatCannotBeMadeIsTold) {
    CrashScene scene;
    scene.platform.fakeWorkingDirectory = scene.work() + "/missing";
    HCrptLinuxExceptionHandler handler;
    const StdoutCapture capture;
    const std::string written = writtenBy([&](int fd) { EXPECT_FALSE(handler.printTrace(fd, 9)); });
    EXPECT_EQ("", written);
    EXPECT_EQ(kNoFile, capture.flushedText());
}

TEST(PrintTraceTest, DescriptorZeroCountsAsFailureOnPurposeAndIsClosed) {
    const CrashScene scene;
    ChildProcess child = ChildProcess::fork([] {
        HCrptLinuxExceptionHandler handler;
        close(STDIN_FILENO);
        if (handler.printTrace(STDERR_FILENO, 9)) return 1;
        return fcntl(STDIN_FILENO, F_GETFD) < 0 ? 0 : 2;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
    EXPECT_EQ(kNoFile, child.standardOutput());
    EXPECT_EQ("", child.standardError());
}

TEST(PrintTraceTest, ARawTraceFileThatCannotBeReadIsNoFailure) {
    const CrashScene scene;
    const seams::ScopedSeam failing(seams::onOpen, [&](const char* path, int flags) {
        const bool reads = path == scene.rawTrace() && (flags & O_ACCMODE) == O_RDONLY;
        return reads ? std::optional<int>(-1) : std::nullopt;
    });
    char* const end = static_cast<char*>(HCrptResourceMgr::allocateMem(0));
    const StdoutCapture capture;
    EXPECT_EQ("", traceOver(scene, "", 9));
    EXPECT_EQ("", capture.text());
    EXPECT_EQ(end, HCrptResourceMgr::allocateMem(0)) << "memory was taken that nothing needs";
}

/// Reads of the raw trace give a few bytes at a time, each after a signal, and after so many bytes
/// what is to come at the end.
class HaltingReads {
  public:
    HaltingReads(std::size_t bytes, ssize_t end) : m_left(bytes), m_end(end) {}

  private:
    std::optional<ssize_t> read(int fd, void* data, std::size_t size) {
        m_isInterrupted = !m_isInterrupted;
        if (m_isInterrupted) {
            errno = EINTR;
            return -1;
        }
        const std::size_t wanted = std::min({size, m_left, std::size_t(7)});
        m_left -= wanted;
        if (wanted > 0) return syscall(SYS_read, fd, data, wanted);
        errno = EIO;
        return m_end;
    }
    std::size_t m_left;
    ssize_t m_end;
    bool m_isInterrupted = false;
    seams::ScopedSeam<decltype(seams::onRead)> m_seam{
        seams::onRead,
        [this](int fd, void* data, std::size_t size) { return read(fd, data, size); }};
};

TEST(PrintTraceTest, ReadsThatAreShortOrInterruptedGiveTheWholeTrace) {
    const CrashScene scene;
    const std::string raw = behindTheFirstChunk("libx.so(_Z3foov+0x1)\nsecond\n");
    const HaltingReads reads(2 * kChunk, 0);
    EXPECT_EQ("libx.so(foo()+0x1)\nsecond\n", withoutFirstChunk(traceOver(scene, raw, kAllFrames)));
}

TEST(PrintTraceTest, AReadThatFailsEndsTheTraceThere) {
    const CrashScene scene;
    const HaltingReads reads(0, -1);
    EXPECT_EQ("", traceOver(scene, behindTheFirstChunk("second\n"), kAllFrames));
}

TEST(PrintTraceTest, ANewRawTraceFileMayBeReadByAll) {
    const CrashScene scene;
    const mode_t before = umask(0);
    traceOver(scene, "", 9);
    umask(before);
    EXPECT_EQ(test_support::modeOf(scene.rawTrace()), 0644U);
}

// A caller may look at the frames of an earlier walk.
TEST(PrintTraceTest, TheSharedArrayOfFramesIsLeftAlone) {
    const CrashScene scene;
    const auto frames = [] {
        return std::vector<void*>(std::begin(HCrashReporter::s_btArray),
                                  std::end(HCrashReporter::s_btArray));
    };
    HCrptLinuxExceptionHandler handler;
    const std::vector<void*> before = frames();
    writtenBy([&](int fd) { EXPECT_TRUE(handler.printTrace(fd, 9)); });
    EXPECT_EQ(before, frames());
}

TEST(PrintTraceTest, NoDescriptorStaysOpen) {
    const CrashScene scene;
    HCrptLinuxExceptionHandler handler;
    const auto descriptors = [] { return test_support::namesIn("/proc/self/fd").size(); };
    const std::size_t before = descriptors();
    writtenBy([&](int fd) { EXPECT_TRUE(handler.printTrace(fd, 9)); });
    EXPECT_EQ(before, descriptors());
}

TEST(PrintTraceTest, EachCallTakesTwoBuffersFromTheArena) {
    const CrashScene scene;
    char* const end = static_cast<char*>(HCrptResourceMgr::allocateMem(0));
    EXPECT_NE("", traceOver(scene, "", 9));
    EXPECT_EQ(end + 20000, HCrptResourceMgr::allocateMem(0));
}

TEST(PrintTraceTest, WithoutRoomInTheArenaNothingIsWritten) {
    const CrashScene scene;
    test_support::leaveInArena(19999);  // enough for one of the two
    EXPECT_EQ("", traceOver(scene, "", 9));
    EXPECT_NE("", readFile(scene.rawTrace()));
}

}  // namespace

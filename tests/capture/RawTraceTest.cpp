#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "capture/RawTrace.h"
#include "capture/TraceLines.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/TempDir.h"

using HCrashReporter::HCrptLinuxExceptionHandler;
using HCrashReporter::kBacktraceDepth;
using HCrashReporter::s_btArray;
using namespace test_support;

namespace {

const std::string kNotice =
    "Following is a partial stack trace, only, likely due to stack corruption\n";

/// The first frames that the last walk has left in the array, as a trace shows them.
std::string linesOfFrames(int count) {
    return traceLines(s_btArray, count);
}

int countLines(const std::string& text) {
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

/// A trace file, open behind what stands in it before the trace.
class TraceFile {
  public:
    explicit TraceFile(const std::string& before = "", const std::string& oldTail = "")
        : m_path(m_directory / "trace") {
        writeFile(m_path, before + oldTail);
        m_fd = open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(static_cast<off_t>(before.size()),
                  lseek(m_fd, static_cast<off_t>(before.size()), SEEK_SET));
    }
    ~TraceFile() { close(m_fd); }
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    int fd() const { return m_fd; }
    std::string content() const { return readFile(m_path); }

  private:
    TempDir m_directory;
    std::string m_path;
    int m_fd = -1;
};

[[gnu::noinline]] void atDepth(int frames, const std::function<void()>& action) {
    if (frames <= 0)
        action();
    else
        atDepth(frames - 1, action);
    asm volatile("");  // keeps the call from becoming a jump
}

}  // namespace

// Outside the unnamed namespace: it shows by name in a trace.
[[gnu::noinline]] void underADamagedFrame(const std::function<void()>& action) {
    // The return address stands above the frame's base. No unwinder gets past this one.
    void* volatile* const returnAddress = static_cast<void**>(__builtin_frame_address(0)) + 1;
    void* const before = *returnAddress;
    *returnAddress = reinterpret_cast<void*>(0x12345678000);
    action();
    *returnAddress = before;
}

namespace {

TEST(RawTraceTest, TheNoticeIsTheOneThatReadersKnow) {
    EXPECT_EQ(kNotice, HCrashReporter::partialStackTraceMsg);
}

TEST(RawTraceTest, TheWholeTraceReplacesTheNoticeBehindTheTextBefore) {
    const TraceFile file("header\n");
    hcrpt::writeRawTrace(file.fd());
    const int frames = countLines(file.content()) - 1;
    EXPECT_GT(frames, 3);
    EXPECT_EQ("header\n" + linesOfFrames(frames), file.content());
}

TEST(RawTraceTest, FramesReachFromTheWriterToTheStartOfTheProgram) {
    const TraceFile file;
    atDepth(20, [&] { hcrpt::writeRawTrace(file.fd()); });
    EXPECT_NE(std::string::npos, file.content().find("(_start+")) << file.content();
    EXPECT_LT(file.content().find("libc.so"), file.content().find("(_start+"));
}

TEST(RawTraceTest, AnOldLongerTailIsCutOffAfterAFullWalk) {
    const TraceFile file("header\n", std::string(100000, 'x'));
    hcrpt::writeRawTrace(file.fd());
    EXPECT_EQ("header\n" + linesOfFrames(countLines(file.content()) - 1), file.content());
}

TEST(RawTraceTest, TheFileIsThenPositionedAtItsEnd) {
    const TraceFile file("header\n", std::string(100000, 'x'));
    hcrpt::writeRawTrace(file.fd());
    EXPECT_EQ(static_cast<off_t>(file.content().size()), lseek(file.fd(), 0, SEEK_CUR));
}

TEST(RawTraceTest, AtMost199FramesAreWritten) {
    for (const int depth : {198, 300}) {
        const TraceFile file;
        atDepth(depth, [&] { hcrpt::writeRawTrace(file.fd()); });
        EXPECT_EQ(199, countLines(file.content())) << depth;
        EXPECT_EQ(linesOfFrames(199), file.content());
    }
}

TEST(RawTraceTest, TheNumberOfFramesAskedForIsNotLookedAt) {
    HCrptLinuxExceptionHandler handler;
    for (const unsigned long frames : {0UL, 1UL, 1000UL}) {
        const TraceFile file;
        EXPECT_TRUE(handler.printTraceMangled(file.fd(), frames));
        EXPECT_GT(countLines(file.content()), 3) << frames;
    }
}

TEST(RawTraceTest, ItSaysTrueEvenWhereNothingCanBeWritten) {
    HCrptLinuxExceptionHandler handler;
    EXPECT_TRUE(handler.printTraceMangled(-1, 100));
}

// Were the walk to fault while it looks for the next frame, the file would stay as it was at the
// last of these moments.
TEST(RawTraceTest, EachFrameIsOnDiskBeforeTheNextIsLookedFor) {
    const TraceFile file("header\n", std::string(100000, 'x'));
    std::vector<std::string> synced;
    const seams::ScopedSeam seam(seams::onFsync, [&](int fd) {
        EXPECT_EQ(file.fd(), fd);
        synced.push_back(file.content());
        return std::nullopt;
    });
    atDepth(10, [&] { hcrpt::writeRawTrace(file.fd()); });

    const int frames = countLines(file.content()) - 1;
    ASSERT_EQ(static_cast<std::size_t>(1 + frames + 1), synced.size());
    for (int n = 0; n <= frames; ++n) {
        const std::string want = "header\n" + kNotice + linesOfFrames(n);
        EXPECT_EQ(want, synced[static_cast<std::size_t>(n)].substr(0, want.size())) << n;
        EXPECT_EQ('x', synced[static_cast<std::size_t>(n)][want.size()]) << "more than that";
    }
    EXPECT_EQ(file.content(), synced.back());
}

TEST(RawTraceTest, ASyncThatASignalInterruptsIsMadeAgain) {
    const TraceFile file;
    int calls = 0;
    const seams::ScopedSeam seam(seams::onFsync, [&](int) {
        errno = EINTR;
        return ++calls % 2 == 1 ? std::optional<int>(-1) : std::nullopt;
    });
    hcrpt::writeRawTrace(file.fd());
    EXPECT_EQ(2 * (1 + countLines(file.content()) + 1), calls);
}

TEST(RawTraceTest, ADamagedStackLeavesTheFramesBeforeTheDamageAlsoWithoutASignal) {
    const TraceFile file("header\n");
    underADamagedFrame([&] { hcrpt::writeRawTrace(file.fd()); });
    const std::string content = file.content();
    EXPECT_EQ(0U, content.find("header\n" + kNotice)) << content;
    EXPECT_NE(std::string::npos, content.find("underADamagedFrame")) << content;
}

TEST(RawTraceTest, WhereNothingCanBeTruncatedTheFramesStayTwice) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    hcrpt::writeRawTrace(ends[1]);
    close(ends[1]);
    std::string got(65536, '\0');
    const ssize_t size = read(ends[0], got.data(), got.size());
    close(ends[0]);
    ASSERT_GT(size, 0);
    got.resize(static_cast<std::size_t>(size));
    const int frames = (countLines(got) - 1) / 2;
    EXPECT_EQ(kNotice + linesOfFrames(frames) + linesOfFrames(frames), got);
}

TEST(RawTraceTest, PrimingTakesAWholeTraceAndKeepsNoDescriptor) {
    ASSERT_EQ(nullptr, s_btArray[1]);
    const int before = dup(0);
    close(before);
    hcrpt::primeRawTrace();
    const int after = dup(0);
    close(after);
    EXPECT_EQ(before, after);
    EXPECT_NE(nullptr, s_btArray[1]);
}

// A descriptor like any other.
TEST(RawTraceTest, PrimingUsesAndClosesDescriptorZeroWhereItIsFree) {
    test_support::ChildProcess host = test_support::ChildProcess::fork([] {
        close(STDIN_FILENO);
        hcrpt::primeRawTrace();
        if (fcntl(STDIN_FILENO, F_GETFD) >= 0) return 1;
        return s_btArray[1] != nullptr ? 0 : 2;
    });
    EXPECT_EQ(test_support::exitedWith(0), host.wait());
}

TEST(RawTraceTest, MakingAHandlerPrimes) {
    ASSERT_EQ(nullptr, s_btArray[1]);
    ASSERT_NE(nullptr, HCrashReporter::HCrptExceptionHandlerBase::get(""));
    EXPECT_NE(nullptr, s_btArray[1]);
}

TEST(RawTraceTest, PrimingWithoutADescriptorStillTakesATrace) {
    ASSERT_EQ(nullptr, s_btArray[1]);
    const seams::ScopedSeam failing(seams::onOpen, [](const char*, int) { return -1; });
    hcrpt::primeRawTrace();
    EXPECT_NE(nullptr, s_btArray[1]);
}

}  // namespace

// What the writers of both formats have in common: the file and its place.
#include <signal.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"
#include "writers/WriterTest.h"

using namespace test_support;
using Names = std::vector<std::string>;

namespace {

template <typename Format>
class ReportWritersTest : public writers_test::WriterTest<Format> {
  protected:
    std::string write() { return writeTo(this->dir.path()); }
    std::string writeTo(const std::string& directory) {
        return Format::write(directory, this->manager);
    }
    /// Writes a text of so many bytes where no file may grow beyond a limit.
    void expectUnnoticedFailureBeyond(rlim_t limit, std::size_t textSize) {
        this->manager.addItem("key", std::string(textSize, 'v'));
        auto child = test_support::ChildProcess::fork([this, limit] {
            signal(SIGXFSZ, SIG_IGN);  // writes beyond the limit fail instead
            const struct rlimit limits = {limit, limit};
            if (setrlimit(RLIMIT_FSIZE, &limits) != 0) return 1;
            return write() == path ? 0 : 2;
        });
        EXPECT_EQ(test_support::exitedWith(0), child.wait());
        EXPECT_EQ("", child.standardOutput());
        EXPECT_TRUE(namesIn(this->dir.path()).empty());
    }
    static std::string notWritable(const std::string& report) {
        return "[Crash Reporter] Error: file " + report + " is not writable.\n";
    }

    const std::string name = Format::fileName;
    const std::string path = this->dir / Format::fileName;
};

using Formats = testing::Types<writers_test::Json, writers_test::Xml>;
TYPED_TEST_SUITE(ReportWritersTest, Formats);

TYPED_TEST(ReportWritersTest, DirectoryIsUsedAsItIsPassed) {
    EXPECT_EQ(this->dir.path() + "//" + this->name, this->writeTo(this->dir.path() + "/"));
    EXPECT_EQ(Names{this->name}, namesIn(this->dir.path()));
}

TYPED_TEST(ReportWritersTest, OlderFileOfThatNameIsReplaced) {
    const std::string report = this->written();
    writeFile(this->path, std::string(1000, 'x'));
    EXPECT_EQ(report, this->written());
    EXPECT_EQ(Names{this->name}, namesIn(this->dir.path()));
}

// The crash reporter sends what it lists, and a report of this name may lie where it looks.
TYPED_TEST(ReportWritersTest, OlderFileIsNotWrittenOver) {
    writeFile(this->path, "older");
    std::filesystem::create_hard_link(this->path, this->dir / "older");
    EXPECT_NE("older", this->written());
    EXPECT_EQ("older", readFile(this->dir / "older"));
}

// The crash reporter lists the directory while reports are written, and sends what it finds.
TYPED_TEST(ReportWritersTest, ReportAppearsUnderItsNameWhole) {
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_NE(-1, inotify_add_watch(watch, this->dir.path().c_str(),
                                    IN_CREATE | IN_MODIFY | IN_MOVED_TO | IN_MOVED_FROM));
    this->manager.addItem("key", std::string(100000, 'v'));
    this->written();
    alignas(struct inotify_event) char buffer[65536];
    const ssize_t got = read(watch, buffer, sizeof buffer);
    close(watch);
    Names moved;
    Names otherwise;
    for (ssize_t at = 0; at < got;) {
        const auto* event = reinterpret_cast<const struct inotify_event*>(buffer + at);
        ((event->mask & IN_MOVED_TO) != 0 ? moved : otherwise).emplace_back(event->name);
        at += static_cast<ssize_t>(sizeof(struct inotify_event) + event->len);
    }
    EXPECT_EQ(Names{this->name}, moved);
    EXPECT_FALSE(otherwise.empty());
    for (const std::string& other : otherwise)
        EXPECT_NE(0u, other.find("CrashReport_")) << other << " was listed before it was complete";
}

TYPED_TEST(ReportWritersTest, SuccessSaysNothing) {
    StdoutCapture output;
    this->written();
    EXPECT_EQ("", output.text());
}

TYPED_TEST(ReportWritersTest, EachCallWritesTheDocumentAfresh) {
    this->manager.addItem("key", "value");
    this->manager.addItem("stacktrace", "frame");
    const std::string first = this->written();
    EXPECT_EQ(first, this->written());
}

// --- Failures ------------------------------------------------------------------------------------

TYPED_TEST(ReportWritersTest, MissingDirectoryIsNotWritable) {
    StdoutCapture output;
    EXPECT_EQ("", this->writeTo(this->dir / "missing"));
    EXPECT_EQ(this->notWritable(this->dir / ("missing/" + this->name)), output.flushedText());
    EXPECT_TRUE(namesIn(this->dir.path()).empty());
}

TYPED_TEST(ReportWritersTest, DirectoryInItsPlaceIsNotWritable) {
    std::filesystem::create_directory(this->path);
    StdoutCapture output;
    EXPECT_EQ("", this->write());
    EXPECT_EQ(this->notWritable(this->path), output.flushedText());
}

TYPED_TEST(ReportWritersTest, WritableIsThePlatformsAnswerForTheWholePath) {
    std::string asked;
    this->platform.onIsWriteable = [&asked](const std::string& report) {
        asked = report;
        return false;
    };
    StdoutCapture output;
    EXPECT_EQ("", this->write());
    EXPECT_EQ(this->path, asked);
    EXPECT_EQ(this->notWritable(this->path), output.flushedText());
    EXPECT_TRUE(namesIn(this->dir.path()).empty());
}

TYPED_TEST(ReportWritersTest, FailedWriteGoesUnnoticedAndLeavesNoHalfReport) {
    this->expectUnnoticedFailureBeyond(1000, 100000);
}

// So short that only the flush at the end writes at all.
TYPED_TEST(ReportWritersTest, FailedFlushGoesUnnoticedAndLeavesNoHalfReport) {
    this->expectUnnoticedFailureBeyond(50, 100);
}

TYPED_TEST(ReportWritersTest, FullDeviceGoesUnnoticed) {
    std::filesystem::create_symlink("/dev/full", this->path);
    this->platform.onIsWriteable = [](const std::string&) { return true; };
    this->manager.addItem("key", "value");
    StdoutCapture output;
    EXPECT_EQ(this->path, this->write());
    EXPECT_EQ("", output.text());
}

}  // namespace

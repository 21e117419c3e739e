#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

#include "facts/ProcessFacts.h"
#include "facts/ProcessState.h"
#include "recovery/DeadSession.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"

namespace {

using hcrpt::ProcessFacts;
using hcrpt::readFacts;
using hcrpt::writeFacts;
using namespace test_support;

class ProcessFactsTest : public recovery_test::DeadSessionTest {
  protected:
    std::string ownPath() const { return factsPath(std::to_string(getpid())); }
};

TEST_F(ProcessFactsTest, TellWhatAReportOfTheProcessWould) {
    const test_support::ScopedWorkingDirectory there(directory.path());
    platform.fakeCommandLine = "/opt/test/bin/testprogram -source  run.tcl";
    HCrashReporter::leaveProcessFacts();
    const auto facts = readFacts(ownPath());
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->startTime, hcrpt::processState(std::to_string(getpid()))->startTime);
    EXPECT_EQ(facts->bootId,
              test_support::readFile("/proc/sys/kernel/random/boot_id")
                  .substr(0, std::string("01234567-89ab-cdef-0123-456789abcdef").size()));
    EXPECT_EQ(facts->pidNamespace, std::filesystem::read_symlink("/proc/self/ns/pid").string());
    EXPECT_EQ(facts->userName, "tester");
    EXPECT_EQ(facts->productName, "Designer");
    EXPECT_EQ(facts->programName, "testprogram");
    EXPECT_EQ(facts->productVersion, "4.2");
    EXPECT_EQ(facts->buildNumber, "4711");
    EXPECT_EQ(facts->buildDate, "2026-11-21");
    EXPECT_EQ(facts->commandLine, "testprogram -source  run.tcl");
    EXPECT_EQ(facts->testcase, directory / "run.tcl");
}

TEST_F(ProcessFactsTest, AreInOneHiddenFileForItsOwnerOnly) {
    const mode_t before = umask(0);
    HCrashReporter::leaveProcessFacts();
    umask(before);
    EXPECT_EQ(test_support::namesIn(store),
              std::vector<std::string>{".processfacts_testhost_" + std::to_string(getpid())});
    EXPECT_EQ(test_support::modeOf(ownPath()), 0600U);
}

TEST_F(ProcessFactsTest, ALaterCallReplacesWhatAnEarlierOneHasLeft) {
    HCrashReporter::leaveProcessFacts();
    platform.fakeProduct.version = "5";
    HCrashReporter::leaveProcessFacts();
    EXPECT_EQ(readFacts(ownPath())->productVersion, "5");
}

TEST_F(ProcessFactsTest, WithoutAStoreNothingIsLeftNorSaid) {
    std::filesystem::remove_all(store);
    const test_support::StdoutCapture output;
    HCrashReporter::leaveProcessFacts();
    EXPECT_FALSE(std::filesystem::exists(store));
    EXPECT_EQ(output.text(), "");
}

TEST_F(ProcessFactsTest, ThoseOfAnEarlierProcessGoWhereNoOthersCanBeWritten) {
    test_support::writeFile(ownPath(), R"({"startTime": "1"})");
    ChildProcess host = ChildProcess::fork([&] {
        platform.fakePid = getppid();
        const rlimit none = {0, 0};
        signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &none);
        HCrashReporter::leaveProcessFacts();
        return 0;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
    EXPECT_FALSE(std::filesystem::exists(ownPath()));
}

TEST_F(ProcessFactsTest, APipeInTheirPlaceHoldsNobodyUp) {
    ASSERT_EQ(mkfifo(ownPath().c_str(), 0600), 0);
    ChildProcess host = ChildProcess::fork([&] {
        platform.fakePid = getppid();
        HCrashReporter::leaveProcessFacts();
        return readFacts(factsPath(std::to_string(getppid()))) ? 1 : 0;
    });
    EXPECT_EQ(host.wait(), exitedWith(0));
}

TEST_F(ProcessFactsTest, AnyBytesComeBackAsTheyWere) {
    ProcessFacts facts;
    for (int byte = 0; byte < 256; ++byte) facts.commandLine += static_cast<char>(byte);
    facts.testcase = "/tmp/\xff\xfe \"quoted\"\n\\u0041/\xc3\xa4";
    const std::string path = directory / "facts";
    ASSERT_TRUE(writeFacts(path, facts));
    const auto back = readFacts(path);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->commandLine, facts.commandLine);
    EXPECT_EQ(back->testcase, facts.testcase);
}

TEST_F(ProcessFactsTest, LongTextsAreCutAndCanBeReadWhateverTheirBytes) {
    ProcessFacts facts;
    for (std::string ProcessFacts::*text :
         {&ProcessFacts::startTime, &ProcessFacts::userName, &ProcessFacts::productName,
          &ProcessFacts::programName, &ProcessFacts::productVersion, &ProcessFacts::buildNumber,
          &ProcessFacts::buildDate, &ProcessFacts::commandLine, &ProcessFacts::testcase})
        facts.*text = std::string(3000000, '\x01');
    const std::string path = directory / "facts";
    ASSERT_TRUE(writeFacts(path, facts));
    const auto back = readFacts(path);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->commandLine, std::string(32768, '\x01'));
}

TEST_F(ProcessFactsTest, AMissingTextIsEmpty) {
    writeFile(ownPath(), R"({"userName": "u", "unknown": [1]})");
    const auto facts = readFacts(ownPath());
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->userName, "u");
    EXPECT_EQ(facts->commandLine, "");
}

TEST_F(ProcessFactsTest, DamagedFilesHoldNone) {
    for (const std::string& text :
         {std::string(), std::string("{"), std::string("[]"), std::string("{\"userName\": 1}"),
          std::string("{\"userName\": \"u\"} x"), std::string("{\"userName\": \"u"),
          std::string(1000, '\0'), "{\"userName\": \"" + std::string(40000, 'u') + "\"}"}) {
        writeFile(ownPath(), text);
        EXPECT_FALSE(readFacts(ownPath())) << text.substr(0, 100);
    }
}

TEST_F(ProcessFactsTest, AMillionBracketsOverflowNoStack) {
    const std::string path = ownPath();
    writeFile(path, std::string(1000000, '['));
    ChildProcess reader = ChildProcess::fork([&] { return readFacts(path) ? 1 : 0; });
    EXPECT_EQ(reader.wait(), exitedWith(0));
}

TEST_F(ProcessFactsTest, AHugeFileIsNotRead) {
    const std::string largest = "{" + std::string(hcrpt::kMaxFactsFile - 2, ' ') + "}";
    writeFile(ownPath(), largest);
    EXPECT_TRUE(readFacts(ownPath()));
    writeFile(ownPath(), largest + " ");
    EXPECT_FALSE(readFacts(ownPath()));
}

TEST_F(ProcessFactsTest, AreReadWholeThoughReadsAreShortOrInterrupted) {
    writeFile(ownPath(), R"({"userName": "u", "testcase": "t"})");
    bool isInterrupted = false;
    const seams::ScopedSeam seam(seams::onRead,
                                 [&](int fd, void* bytes, std::size_t) -> std::optional<ssize_t> {
                                     isInterrupted = !isInterrupted;
                                     if (!isInterrupted) return syscall(SYS_read, fd, bytes, 1);
                                     errno = EINTR;
                                     return -1;
                                 });
    const auto facts = readFacts(ownPath());
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->userName, "u");
    EXPECT_EQ(facts->testcase, "t");
}

TEST_F(ProcessFactsTest, AReadThatFailsOrEndsTooEarlyGivesNone) {
    const std::string text = R"({"userName": "u"})";
    writeFile(ownPath(), text + " ");
    for (const ssize_t end : {-1, 0}) {
        bool isFirst = true;
        const seams::ScopedSeam seam(
            seams::onRead, [&](int fd, void* bytes, std::size_t) -> std::optional<ssize_t> {
                // What comes is a whole object: only its length tells that it is not all.
                if (isFirst) {
                    isFirst = false;
                    return syscall(SYS_read, fd, bytes, text.size());
                }
                errno = EIO;
                return end;
            });
        EXPECT_FALSE(readFacts(ownPath())) << end;
    }
}

TEST_F(ProcessFactsTest, ALinkIsNotFollowed) {
    writeFile(directory / "elsewhere", R"({"userName": "u"})");
    std::filesystem::create_symlink(directory / "elsewhere", ownPath());
    EXPECT_FALSE(readFacts(ownPath()));
}

TEST_F(ProcessFactsTest, AnotherUsersFileIsNotTaken) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to give files away";
    writeFile(ownPath(), R"({"userName": "u"})");
    ASSERT_TRUE(readFacts(ownPath()));
    ASSERT_EQ(chown(ownPath().c_str(), 1234, 1234), 0);
    EXPECT_FALSE(readFacts(ownPath()));
}

}  // namespace

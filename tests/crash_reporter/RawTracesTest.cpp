#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "StoreScene.h"
#include "crash_reporter/RawTraces.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::RawTraces;
using namespace test_support;

constexpr char kRaw[] = "/opt/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n";
/// Until a later change of the raw trace would show in its times.
constexpr std::chrono::seconds kUntilSettled(4);
constexpr char kReadable[] = "libfoo.so(foo::bar()+0x1a)[0x7f00]\n";

class RawTracesTest : public crash_reporter_test::StoreScene {
  protected:
    void demangleNew() { traces.demangleNew(hcrpt::StoreSnapshot::take()); }
    ino_t logInode() const {
        struct stat status = {};
        EXPECT_EQ(stat(log.c_str(), &status), 0);
        return status.st_ino;
    }

    RawTraces traces;
    StdoutCapture output;
    const std::string log = store + "/hs_err_pid7.log";
};

TEST_F(RawTracesTest, ASettledTraceIsDemangledOnce) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    std::this_thread::sleep_for(kUntilSettled);
    demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
    const ino_t first = logInode();
    // Takes the number that the log's would get if it were made anew.
    add("another");
    demangleNew();
    EXPECT_EQ(logInode(), first);
    EXPECT_EQ(output.text(), "");
}

TEST_F(RawTracesTest, AFreshTraceIsDemangledAtOnceAndOnceMoreWhenItHasSettled) {
    ino_t first = 0;
    ino_t second = 0;
    std::time_t begin = 0;
    do {  // again where it settled on the way
        begin = std::time(nullptr);
        moveIn("hs_mangled_err_pid7.log", kRaw);
        demangleNew();
        first = logInode();
        add("another" + std::to_string(begin));
        demangleNew();
        second = logInode();
    } while (std::time(nullptr) != begin);
    EXPECT_EQ(second, first);
    std::this_thread::sleep_for(kUntilSettled);
    demangleNew();
    EXPECT_NE(logInode(), first);
    const ino_t third = logInode();
    add("yet another");
    demangleNew();
    EXPECT_EQ(logInode(), third);
}

TEST_F(RawTracesTest, AnAlteredLogIsWrittenAgain) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    demangleNew();
    test_support::writeFile(log, "altered");
    demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, ALogThatAnEarlierCrashReporterLeftIsWrittenAgain) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    test_support::writeFile(log, "half");
    demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, AnotherTraceOfTheSameProcessIdIsMadeReadableToo) {
    moveIn("hs_mangled_err_pid7.log", "first\n");
    demangleNew();
    moveIn("hs_mangled_err_pid7.log", "other\n");
    demangleNew();
    EXPECT_EQ(readFile(log), "other\n");
}

TEST_F(RawTracesTest, ALogThatHasGoneIsWrittenAgain) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    demangleNew();
    fs::remove(log);
    demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, ALogThatCannotBeWrittenIsToldOnceAndTriedAgain) {
    const std::string raw = store + "/hs_mangled_err_pid7.log";
    ASSERT_EQ(mkfifo(raw.c_str(), 0600), 0);  // is not read: it would hold up all others
    demangleNew();
    demangleNew();
    const std::string line = "[Crash Reporter] Error: Could not write the readable log of " + raw +
                             ", trying again from time to time.\n";
    EXPECT_EQ(output.text(), line);
    moveIn("hs_mangled_err_pid7.log", kRaw);
    demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
    EXPECT_EQ(output.text(), line);
}

TEST_F(RawTracesTest, AnotherTraceThatCannotBeDemangledIsToldToo) {
    const std::string raw = store + "/hs_mangled_err_pid7.log";
    ASSERT_EQ(mkfifo(raw.c_str(), 0600), 0);
    demangleNew();
    const std::string once = output.text();
    ASSERT_EQ(mkfifo((directory / "other").c_str(), 0600), 0);
    fs::rename(directory / "other", raw);
    demangleNew();
    EXPECT_EQ(output.text(), once + once);
}

TEST_F(RawTracesTest, ALogThatGoesAndCannotBeMadeAgainIsToldOnceMore) {
    ASSERT_EQ(mkfifo((store + "/hs_mangled_err_pid7.log").c_str(), 0600), 0);
    demangleNew();
    const std::string once = output.text();
    add("hs_err_pid7.log");
    demangleNew();
    EXPECT_EQ(output.text(), once);
    fs::remove(log);
    demangleNew();
    EXPECT_EQ(output.text(), once + once);
}

TEST_F(RawTracesTest, WithoutAStoreNothingHappens) {
    fs::remove_all(store);
    demangleNew();
    EXPECT_EQ(output.text(), "");
}

}  // namespace

#include <chrono>
#include <thread>

#include "StoreScene.h"
#include "crash_reporter/RawTraces.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::RawTraces;
using namespace test_support;

constexpr char kRaw[] = "/opt/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n";
/// One that has only just come is demangled twice.
constexpr std::chrono::seconds kUntilOld(4);
constexpr char kReadable[] = "libfoo.so(foo::bar()+0x1a)[0x7f00]\n";

class RawTracesTest : public crash_reporter_test::StoreScene {
  protected:
    RawTraces traces;
    StdoutCapture output;
    const std::string log = store + "/hs_err_pid7.log";
};

TEST_F(RawTracesTest, EachIsMadeReadableOnce) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    std::this_thread::sleep_for(kUntilOld);
    traces.demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
    test_support::writeFile(log, "kept");
    traces.demangleNew();
    EXPECT_EQ(readFile(log), "kept");
    EXPECT_EQ(output.text(), "");
}

TEST_F(RawTracesTest, ALogThatAnEarlierCrashReporterLeftIsWrittenAgain) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    test_support::writeFile(log, "half");
    traces.demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, AnotherTraceOfTheSameProcessIdIsMadeReadableToo) {
    moveIn("hs_mangled_err_pid7.log", "first\n");
    traces.demangleNew();
    moveIn("hs_mangled_err_pid7.log", "other\n");
    traces.demangleNew();
    EXPECT_EQ(readFile(log), "other\n");
}

TEST_F(RawTracesTest, ALogThatHasGoneIsWrittenAgain) {
    moveIn("hs_mangled_err_pid7.log", kRaw);
    traces.demangleNew();
    fs::remove(log);
    traces.demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, ALogThatCannotBeWrittenIsToldOnceAndTriedAgain) {
    const std::string raw = moveIn("hs_mangled_err_pid7.log", kRaw);
    platform.onExists = [this](const std::string& path) { return path != log && fs::exists(path); };
    traces.demangleNew();
    traces.demangleNew();
    EXPECT_EQ(output.text(), "[Crash Reporter] Error: Could not write the readable log of " + raw +
                                 ", trying again from time to time.\n");
    platform.onExists = nullptr;
    fs::remove(log);
    traces.demangleNew();
    EXPECT_EQ(readFile(log), kReadable);
}

TEST_F(RawTracesTest, WithoutAStoreNothingHappens) {
    fs::remove_all(store);
    traces.demangleNew();
    EXPECT_EQ(output.text(), "");
}

}  // namespace

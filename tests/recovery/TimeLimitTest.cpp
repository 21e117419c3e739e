// A report that cannot be finished.
#include <sys/stat.h>

#include <chrono>

#include "recovery/DeadSession.h"

namespace {

using HCrashReporter::writeMissingReports;
using recovery_test::kDeadPid;
using recovery_test::kOtherDeadPid;
using namespace std::chrono_literals;

class TimeLimitTest : public recovery_test::DeadSessionTest {};

// Whoever opens a pipe waits until somebody writes to it.
TEST_F(TimeLimitTest, AReportThatTakesForEverEndsThePassAndIsNotTriedAgain) {
    writeRegistrations(std::string("testhost:") + kDeadPid + "\ntesthost:" + kOtherDeadPid + "\n");
    for (const char* pid : {kDeadPid, kOtherDeadPid}) {
        addTrace(pid);
        ASSERT_EQ(mkfifo(stackTraceLog(pid).c_str(), 0600), 0);
    }
    for (int pass = 0; pass < 2; ++pass) {
        const test_support::StdoutCapture output;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(writeMissingReports(), 0);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 30s);
        const std::string text = output.text();
        EXPECT_EQ(text.rfind("[Crash Reporter] Error: Could not write", 0), 0U) << text;
        EXPECT_EQ(text.find('\n'), text.size() - 1) << "one in a pass";
    }
    EXPECT_EQ(writeMissingReports(), 0);
    EXPECT_EQ(reports(), std::vector<std::string>{});
}

}  // namespace

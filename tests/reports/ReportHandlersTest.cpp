#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using HCrashReportMgr::CompleteCrashReportHandler;
using HCrashReportMgr::HCrashReportHandler;
using HCrashReportMgr::MangledStackTraceHandler;
using test_support::ScopedEnvVar;
using test_support::ScopedFakePlatform;
using test_support::StdoutCapture;
using test_support::TempDir;

namespace fs = std::filesystem;

namespace {

class ReportHandlersTest : public testing::Test {
  protected:
    ReportHandlersTest() : m_info("ZEB_SESSION_INFO", dir.path() + ":1") {}

    const TempDir dir;
    const ScopedFakePlatform platform;
    const std::string store = dir / ".crashReporter/1/crashStore";

  private:
    const ScopedEnvVar m_info;
};

}  // namespace

// Hosts were built against these shapes.
static_assert(sizeof(MangledStackTraceHandler) == sizeof(void*), "a dispatch pointer only");
static_assert(sizeof(CompleteCrashReportHandler) == sizeof(void*), "a dispatch pointer only");
static_assert(!std::has_virtual_destructor<HCrashReportHandler>::value, "one slot only");
static_assert(std::is_abstract<HCrashReportHandler>::value, "an interface");

TEST_F(ReportHandlersTest, EachTypeHasItsHandlerMadeAnewForTheCaller) {
    const std::unique_ptr<MangledStackTraceHandler> mangled(dynamic_cast<MangledStackTraceHandler*>(
        HCrashReportMgr::getReportHandler(HCrashRptSettings::MANGLED_STACK_TRACE)));
    const std::unique_ptr<MangledStackTraceHandler> another(dynamic_cast<MangledStackTraceHandler*>(
        HCrashReportMgr::getReportHandler(HCrashRptSettings::MANGLED_STACK_TRACE)));
    const std::unique_ptr<CompleteCrashReportHandler> complete(
        dynamic_cast<CompleteCrashReportHandler*>(
            HCrashReportMgr::getReportHandler(HCrashRptSettings::COMPLETE_CRASH_REPORT)));
    EXPECT_NE(mangled, nullptr);
    EXPECT_NE(another, nullptr);
    EXPECT_NE(mangled, another);
    EXPECT_NE(complete, nullptr);
}

TEST_F(ReportHandlersTest, OtherValuesHaveNoHandler) {
    for (const int value : {2, 3}) {
        const auto type = static_cast<HCrashRptSettings::ReportType>(value);
        EXPECT_EQ(HCrashReportMgr::getReportHandler(type), nullptr) << value;
    }
}

TEST_F(ReportHandlersTest, ProbingListsReportsAndLeavesReadableLogsBesideRawTraces) {
    fs::create_directories(store);
    test_support::writeFile(store + "/hs_mangled_err_pid4711.log",
                            "/opt/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n");
    test_support::writeFile(store + "/CrashReport_a.json", "{}");
    test_support::writeFile(store + "/processRegFile.txt", "");
    const StdoutCapture capture;
    EXPECT_EQ(HCrashReportMgr::probeAndGetCrashReports(),
              std::vector<std::string>{store + "/CrashReport_a.json"});
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::namesIn(store),
              (std::vector<std::string>{"CrashReport_a.json", "hs_err_pid4711.log",
                                        "hs_mangled_err_pid4711.log", "processRegFile.txt"}));
    EXPECT_EQ(test_support::readFile(store + "/hs_err_pid4711.log"),
              "libfoo.so(foo::bar()+0x1a)[0x7f00]\n");
}

TEST_F(ReportHandlersTest, ProbingTwiceWritesTheSameReadableLog) {
    fs::create_directories(store);
    const std::string raw = "/opt/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n";
    test_support::writeFile(store + "/hs_mangled_err_pid4711.log", raw);
    HCrashReportMgr::probeAndGetCrashReports();
    const std::string first = test_support::readFile(store + "/hs_err_pid4711.log");
    HCrashReportMgr::probeAndGetCrashReports();
    EXPECT_EQ(test_support::readFile(store + "/hs_err_pid4711.log"), first);
    EXPECT_EQ(test_support::readFile(store + "/hs_mangled_err_pid4711.log"), raw);
}

TEST_F(ReportHandlersTest, EachPassFollowsARawTraceThatChanged) {
    fs::create_directories(store);
    test_support::writeFile(store + "/hs_mangled_err_pid1.log", "a long first version\n");
    HCrashReportMgr::probeAndGetCrashReports();
    test_support::writeFile(store + "/hs_mangled_err_pid1.log", "second\n");
    HCrashReportMgr::probeAndGetCrashReports();
    EXPECT_EQ(test_support::readFile(store + "/hs_err_pid1.log"), "second\n");
}

TEST_F(ReportHandlersTest, EmptyOrMissingStoreHasNoReports) {
    EXPECT_TRUE(HCrashReportMgr::probeAndGetCrashReports().empty());
    EXPECT_FALSE(fs::exists(store));
    fs::create_directories(store);
    EXPECT_TRUE(HCrashReportMgr::probeAndGetCrashReports().empty());
}

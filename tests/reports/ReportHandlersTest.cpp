#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "support/SessionScene.h"
#include "support/StdoutCapture.h"

using HCrashReportMgr::CompleteCrashReportHandler;
using HCrashReportMgr::HCrashReportHandler;
using HCrashReportMgr::MangledStackTraceHandler;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

using ReportHandlersTest = test_support::SessionScene;

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
    add("hs_mangled_err_pid4711.log", "/opt/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n");
    add("CrashReport_a.json", "{}");
    add("processRegFile.txt", "");
    const StdoutCapture capture;
    EXPECT_EQ(HCrashReportMgr::probeAndGetCrashReports(),
              std::vector<std::string>{store + "/CrashReport_a.json"});
    EXPECT_EQ(capture.text(), "");
    EXPECT_EQ(test_support::namesIn(store),
              (std::vector<std::string>{"CrashReport_a.json", "hs_err_pid4711.log",
                                        "hs_mangled_err_pid4711.log", "processRegFile.txt"}));
    EXPECT_EQ(readFile(stackTraceLog("4711")), "libfoo.so(foo::bar()+0x1a)[0x7f00]\n");
}

TEST_F(ReportHandlersTest, ProbingTwiceWritesTheSameReadableLog) {
    const std::string raw = "/opt/lib/libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]\n";
    add("hs_mangled_err_pid4711.log", raw);
    HCrashReportMgr::probeAndGetCrashReports();
    const std::string first = readFile(stackTraceLog("4711"));
    HCrashReportMgr::probeAndGetCrashReports();
    EXPECT_EQ(readFile(stackTraceLog("4711")), first);
    EXPECT_EQ(readFile(rawTrace("4711")), raw);
}

TEST_F(ReportHandlersTest, EachPassFollowsARawTraceThatChanged) {
    add("hs_mangled_err_pid1.log", "a long first version\n");
    HCrashReportMgr::probeAndGetCrashReports();
    add("hs_mangled_err_pid1.log", "second\n");
    HCrashReportMgr::probeAndGetCrashReports();
    EXPECT_EQ(readFile(stackTraceLog("1")), "second\n");
}

TEST_F(ReportHandlersTest, EmptyOrMissingStoreHasNoReports) {
    EXPECT_TRUE(HCrashReportMgr::probeAndGetCrashReports().empty());
    EXPECT_FALSE(fs::exists(store));
    fs::create_directories(store);
    EXPECT_TRUE(HCrashReportMgr::probeAndGetCrashReports().empty());
}

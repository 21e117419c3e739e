#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "support/SessionScene.h"

namespace fs = std::filesystem;
using CompleteCrashReportHandlerTest = test_support::SessionScene;

TEST_F(CompleteCrashReportHandlerTest, ListsTheStoresReportsOnlyAndTouchesNothing) {
    fs::create_directories(store + "/CrashReport_dir");
    for (const char* name : {"CrashReport_a.json", "CrashReport_b.xml", "crashreport_c.json",
                             "hs_mangled_err_pid4711.log", "hs_err_pid4712.log"})
        add(name, "x\n");
    const std::vector<std::string> before = test_support::namesIn(store);

    HCrashReportMgr::CompleteCrashReportHandler handler;
    HCrashReportMgr::HCrashReportHandler& base = handler;
    std::vector<std::string> reports = base.getReportsInCrashStore();
    std::sort(reports.begin(), reports.end());
    EXPECT_EQ(reports, (std::vector<std::string>{store + "/CrashReport_a.json",
                                                 store + "/CrashReport_b.xml"}));
    EXPECT_EQ(test_support::namesIn(store), before);
}

TEST_F(CompleteCrashReportHandlerTest, MissingStoreHasNoReports) {
    HCrashReportMgr::CompleteCrashReportHandler handler;
    EXPECT_TRUE(handler.getReportsInCrashStore().empty());
}

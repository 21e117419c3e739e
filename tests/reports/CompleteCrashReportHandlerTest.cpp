#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "hcrpt/HCrashReportMgr.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

using test_support::ScopedEnvVar;
using test_support::ScopedFakePlatform;
using test_support::TempDir;

namespace fs = std::filesystem;

TEST(CompleteCrashReportHandlerTest, ListsTheStoresReportsOnlyAndTouchesNothing) {
    const TempDir dir;
    const ScopedFakePlatform platform;
    const ScopedEnvVar info("ZEB_SESSION_INFO", dir.path() + ":1");
    const std::string store = dir / ".crashReporter/1/crashStore";
    fs::create_directories(store + "/CrashReport_dir");
    for (const char* name : {"CrashReport_a.json", "CrashReport_b.xml", "crashreport_c.json",
                             "hs_mangled_err_pid4711.log", "hs_err_pid4712.log"})
        test_support::writeFile(store + "/" + name, "x\n");
    const std::vector<std::string> before = test_support::namesIn(store);

    HCrashReportMgr::CompleteCrashReportHandler handler;
    HCrashReportMgr::HCrashReportHandler& base = handler;
    std::vector<std::string> reports = base.getReportsInCrashStore();
    std::sort(reports.begin(), reports.end());
    EXPECT_EQ(reports, (std::vector<std::string>{store + "/CrashReport_a.json",
                                                 store + "/CrashReport_b.xml"}));
    EXPECT_EQ(test_support::namesIn(store), before);
}

TEST(CompleteCrashReportHandlerTest, MissingStoreHasNoReports) {
    const TempDir dir;
    const ScopedEnvVar info("ZEB_SESSION_INFO", dir.path() + ":1");
    HCrashReportMgr::CompleteCrashReportHandler handler;
    EXPECT_TRUE(handler.getReportsInCrashStore().empty());
}

#include <gtest/gtest.h>

#include "store/ReportName.h"
#include "support/ScopedEnvVar.h"

namespace {

constexpr char kName[] = "CrashReport_7_host_user_20261115T201243.json";

TEST(ReportNameTest, ANameHoldsWhoseCrashItWasAndWhen) {
    EXPECT_EQ(hcrpt::reportFileName({"7", "host", "user", "20261115T201243"}, ".json"), kName);
    EXPECT_EQ(hcrpt::reportNamePrefix("7", "host"), "CrashReport_7_host_");
}

TEST(ReportNameTest, AHostIsFoundInTheNameAsAWhole) {
    EXPECT_TRUE(hcrpt::namesHost(kName, "host"));
    EXPECT_FALSE(hcrpt::namesHost(kName, "hos"));
    EXPECT_FALSE(hcrpt::namesHost(kName, "ost"));
}

TEST(ReportNameTest, ATimeIsFoundAtTheEndOfTheNameBeforeAnyOutcome) {
    EXPECT_TRUE(hcrpt::namesTime(kName, "20261115T201243"));
    EXPECT_TRUE(hcrpt::namesTime(std::string(kName) + ".send_fail", "20261115T201243"));
    EXPECT_FALSE(hcrpt::namesTime(kName, "20261115T20124"));
    EXPECT_FALSE(hcrpt::namesTime(kName, "0261115T201243"));
    EXPECT_FALSE(hcrpt::namesTime(kName, "20261115T201244"));
}

TEST(ReportNameTest, TheTimeStampIsLocalTime) {
    const test_support::ScopedEnvVar zone("TZ", "XYZ-01:30");
    EXPECT_EQ(hcrpt::reportTimeStamp(1794768163), "20261115T201243");
}

}  // namespace

#include <gtest/gtest.h>
#include <unistd.h>

#include "hcrpt/HCrashRptWriters.h"
#include "support/ScopedFakePlatform.h"
#include "writers/ReportFileName.h"

using test_support::ScopedFakePlatform;

namespace {

TEST(ReportFileNameTest, HoldsProcessHostUserAndTime) {
    ScopedFakePlatform platform;
    platform.fakePid = 4242;
    EXPECT_EQ("CrashReport_4242_testhost_tester_20261121T054733.ext",
              hcrpt::reportFileName(".ext"));
}

TEST(ReportFileNameTest, JsonReportsEndInJson) {
    ScopedFakePlatform platform;
    platform.fakePid = 4242;
    EXPECT_EQ("CrashReport_4242_testhost_tester_20261121T054733.json",
              HCrashRptJsonWriter::getCrashReportJsonName());
}

TEST(ReportFileNameTest, TimeStampLosesItsSpacesAndNothingElse) {
    ScopedFakePlatform platform;
    platform.fakePid = 1;
    platform.fakeTimeStamp = " Sat Nov 21  05:47:33\t2026 ";
    EXPECT_EQ("CrashReport_1_testhost_tester_SatNov2105:47:33\t2026.json",
              hcrpt::reportFileName(".json"));
}

TEST(ReportFileNameTest, HostAndUserAreUsedAsTheyAre) {
    ScopedFakePlatform platform;
    platform.fakePid = -1;
    platform.fakeHostName = "host.test.example";
    platform.fakeUserName = "some user_1";
    EXPECT_EQ("CrashReport_-1_host.test.example_some user_1_20261121T054733.json",
              hcrpt::reportFileName(".json"));
}

TEST(ReportFileNameTest, ProcessIsTheOneThatWrites) {
    ScopedFakePlatform platform;
    EXPECT_EQ("CrashReport_" + std::to_string(getpid()) + "_testhost_tester_20261121T054733.json",
              hcrpt::reportFileName(".json"));
}

}  // namespace

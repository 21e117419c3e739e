#include <gtest/gtest.h>

#include "store/SessionPaths.h"
#include "support/ScopedEnvVar.h"

namespace {

const test_support::ScopedEnvVar session("ZEB_SESSION_INFO", "/launch:1");

TEST(SessionPathsTest, FilesLieInTheSessionDirectoryAndItsCrashStore) {
    EXPECT_EQ(hcrpt::pathInSessionDirectory("x"), "/launch/.crashReporter/1/x");
    EXPECT_EQ(hcrpt::pathInCrashStore("x"), "/launch/.crashReporter/1/crashStore/x");
    EXPECT_EQ(hcrpt::reporterLogPath("7"), "/launch/.crashReporter/1/crashReporter7.log");
}

TEST(SessionPathsTest, FactsAreNamedAfterMachineAndProcess) {
    EXPECT_EQ(hcrpt::factsPath("host", "7"), hcrpt::pathInCrashStore(".processfacts_host_7"));
    EXPECT_EQ(hcrpt::factsNamePrefix("host"), ".processfacts_host_");
}

}  // namespace

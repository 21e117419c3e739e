#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/LivingRecords.h"
#include "hcrpt/HCrashRptUtils.h"

namespace {

using crash_reporter::livingOf;
using crash_reporter::Records;
using crash_reporter::registerAgain;
using test_support::readFile;

using LivingRecordsTest = crash_reporter_test::StoreScene;

TEST_F(LivingRecordsTest, AreThoseOfRunningProcessesOfThisMachine) {
    EXPECT_EQ(livingOf({recordOf(getpid()), recordOf(4194305),
                        "otherhost:" + std::to_string(getpid()), "testhost:x", "testhost"}),
              Records{recordOf(getpid())});
}

TEST_F(LivingRecordsTest, ThoseThatAreMissingAreRegisteredAgain) {
    add("processRegFile.txt", "testhost:1\n");
    EXPECT_TRUE(registerAgain({"testhost:1", "testhost:2"}));
    EXPECT_EQ(readFile(registrations), "testhost:1\ntesthost:2\n");
    EXPECT_TRUE(registerAgain({"testhost:1", "testhost:2"}));
    EXPECT_EQ(readFile(registrations), "testhost:1\ntesthost:2\n");
}

TEST_F(LivingRecordsTest, AHostThatHoldsTheLockKeepsThemFromBeingRegistered) {
    add("processRegFile.txt", "testhost:1\n");
    const int host = HCrashRptUtils::fileOpen(registrations);
    ASSERT_EQ(HCrashRptUtils::fileLock(host, "LOCK_EX|LOCK_NB"), 0);
    EXPECT_FALSE(registerAgain({"testhost:2"}));
    EXPECT_TRUE(registerAgain({"testhost:1"})) << "there is nothing to write";
    HCrashRptUtils::fileClose(host);
    EXPECT_TRUE(registerAgain({"testhost:2"}));
}

}  // namespace

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/Registrations.h"

namespace {

using crash_reporter::appendRecords;
using test_support::readFile;
using RegistrationsTest = crash_reporter_test::StoreScene;

TEST_F(RegistrationsTest, RecordsAreAppendedAsHostsDo) {
    add("processRegFile.txt", "h:1\n");
    EXPECT_TRUE(appendRecords({"h:2", "h:3"}));
    EXPECT_EQ(readFile(registrations), "h:1\nh:2\nh:3\n");
}

TEST_F(RegistrationsTest, NothingIsAppendedWhileAHostHoldsTheLockOrWithoutAFile) {
    EXPECT_FALSE(appendRecords({"h:2"}));
    EXPECT_FALSE(std::filesystem::exists(registrations));
    add("processRegFile.txt", "h:1\n");
    const int host = open(registrations.c_str(), O_WRONLY | O_APPEND);
    ASSERT_EQ(flock(host, LOCK_EX), 0);
    EXPECT_FALSE(appendRecords({"h:2"}));
    EXPECT_EQ(readFile(registrations), "h:1\n");
    close(host);
    EXPECT_TRUE(appendRecords({"h:2"}));
}

}  // namespace

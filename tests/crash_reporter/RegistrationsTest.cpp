#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/Registrations.h"

namespace {

using crash_reporter::appendRecords;
using crash_reporter::localProcess;
using crash_reporter::Records;
using crash_reporter::recordsIn;
using test_support::readFile;
using RegistrationsTest = crash_reporter_test::StoreScene;

TEST_F(RegistrationsTest, RecordsAreWordsOfTheFile) {
    add("processRegFile.txt", "h:1\nh:2 h:3\n\nh:1");
    EXPECT_EQ(recordsIn(registrations), (Records{"h:1", "h:2", "h:3"}));
    EXPECT_TRUE(recordsIn(store + "/none").empty());
    const int fd = open(registrations.c_str(), O_RDONLY);
    EXPECT_EQ(recordsIn(fd), recordsIn(registrations));
    EXPECT_EQ(recordsIn(fd), recordsIn(registrations)) << "not from its start";
    close(fd);
    EXPECT_TRUE(recordsIn(-1).empty());
}

TEST_F(RegistrationsTest, ALargeFileIsReadToItsEnd) {
    std::string text;
    for (int i = 0; i < 3000; ++i) text += "host:" + std::to_string(i) + "\n";
    add("processRegFile.txt", text);
    const int fd = open(registrations.c_str(), O_RDONLY);
    EXPECT_EQ(recordsIn(fd).size(), 3000U);
    close(fd);
}

TEST_F(RegistrationsTest, OnlyNumbersOfThisMachineAreLocalProcesses) {
    EXPECT_EQ(localProcess("testhost:12"), "12");
    for (const char* record : {"other:12", "testhost:1x", "testhost:", "testhost", "testhost:../1",
                               "testhost:-1", "testhost:1:2", "testhost:1234567890", "12"})
        EXPECT_EQ(localProcess(record), std::nullopt) << record;
}

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

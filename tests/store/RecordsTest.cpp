#include <fcntl.h>
#include <unistd.h>

#include "store/Records.h"
#include "support/SessionScene.h"

namespace {

using hcrpt::localProcess;
using hcrpt::Records;
using hcrpt::recordsIn;
using RecordsTest = test_support::SessionScene;

TEST_F(RecordsTest, ARecordNamesHostAndProcess) {
    EXPECT_EQ(hcrpt::recordOf("testhost", "12"), "testhost:12");
    EXPECT_EQ(localProcess(hcrpt::recordOf("testhost", "12")), "12");
}

TEST_F(RecordsTest, RecordsAreWordsOfTheFile) {
    add("processRegFile.txt", "h:1\nh:2 h:3\n\nh:1");
    EXPECT_EQ(recordsIn(registrations), (Records{"h:1", "h:2", "h:3"}));
    EXPECT_TRUE(recordsIn(store + "/none").empty());
    const int fd = open(registrations.c_str(), O_RDONLY);
    EXPECT_EQ(recordsIn(fd), recordsIn(registrations));
    EXPECT_EQ(recordsIn(fd), recordsIn(registrations)) << "not from its start";
    close(fd);
    EXPECT_TRUE(recordsIn(-1).empty());
}

TEST_F(RecordsTest, ALargeFileIsReadToItsEnd) {
    std::string text;
    for (int i = 0; i < 3000; ++i) text += "host:" + std::to_string(i) + "\n";
    add("processRegFile.txt", text);
    const int fd = open(registrations.c_str(), O_RDONLY);
    EXPECT_EQ(recordsIn(fd).size(), 3000U);
    close(fd);
}

TEST_F(RecordsTest, OnlyNumbersOfThisMachineAreLocalProcesses) {
    EXPECT_EQ(localProcess("testhost:12"), "12");
    for (const char* record : {"other:12", "testhost:1x", "testhost:", "testhost", "testhost:../1",
                               "testhost:-1", "testhost:1:2", "testhost:1234567890", "12"})
        EXPECT_EQ(localProcess(record), std::nullopt) << record;
}

}  // namespace

#include <fcntl.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/CarryOver.h"
#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::CarryOver;
using crash_reporter::Clock;
using crash_reporter::Time;
using namespace test_support;

class CarryOverTest : public crash_reporter_test::StoreScene {
  protected:
    CarryOverTest() { add("processRegFile.txt", recordOf(4194305) + "\n"); }
    ~CarryOverTest() override { close(host); }

    /// What happens when the old store is deleted and a new one made.
    void replace() {
        fs::remove_all(store);
        fs::create_directory(store);
        add("processRegFile.txt", "");
    }
    void hostRegisters(const std::string& record) const {
        HCrashRptUtils::fileWrite(host, record + "\n");
    }
    /// Polls whenever it is due until it is over. @return seconds that this covers.
    double pollToTheEnd() {
        const Time start = *carryOver.nextPoll();
        Time last = start;
        while (carryOver.nextPoll()) {
            last = *carryOver.nextPoll();
            carryOver.poll(last);
        }
        return std::chrono::duration<double>(last - start).count();
    }

    static std::size_t openDescriptors() { return test_support::namesIn("/proc/self/fd").size(); }

    CarryOver carryOver;
    int host = -1;
    ChildProcess process = ChildProcess::exec({"sleep", "60"});
    StdoutCapture output;
};

TEST_F(CarryOverTest, ARecordThatReachedTheReplacedFileIsCarriedOver) {
    host = HCrashRptUtils::fileOpen(registrations);
    carryOver.holdOpen(registrations);
    replace();
    carryOver.begin(Clock::now());
    carryOver.poll(Clock::now());
    EXPECT_EQ(readFile(registrations), "");
    hostRegisters(recordOf(process.pid()));
    hostRegisters("otherhost:" + std::to_string(getpid()));
    // A host that had opened the file may take three seconds until it has the lock.
    EXPECT_GE(pollToTheEnd(), 5);
    EXPECT_EQ(readFile(registrations), recordOf(process.pid()) + "\n");
    EXPECT_EQ(output.text(), "[Crash Reporter] Carried the registration of " +
                                 recordOf(process.pid()) + " over into the new file.\n");
}

TEST_F(CarryOverTest, ARecordThatTheHostItselfHasRepeatedIsNotWrittenTwice) {
    carryOver.holdOpen(registrations);
    host = HCrashRptUtils::fileOpen(registrations);
    hostRegisters(recordOf(process.pid()));
    replace();
    add("processRegFile.txt", recordOf(process.pid()) + "\n");
    carryOver.begin(Clock::now());
    pollToTheEnd();
    EXPECT_EQ(readFile(registrations), recordOf(process.pid()) + "\n");
    EXPECT_EQ(output.text(), "");
}

TEST_F(CarryOverTest, AFileThatWasNotReplacedIsLetGo) {
    carryOver.holdOpen(registrations);
    carryOver.begin(Clock::now());
    EXPECT_FALSE(carryOver.nextPoll());
}

TEST_F(CarryOverTest, TheOldFileIsClosedWhenItIsOver) {
    const std::size_t before = openDescriptors();
    for (const bool isReplaced : {false, true}) {
        carryOver.holdOpen(registrations);
        EXPECT_EQ(openDescriptors(), before + 1);
        if (isReplaced) replace();
        carryOver.begin(Clock::now());
        if (isReplaced) pollToTheEnd();
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST_F(CarryOverTest, APollThatIsNotDueDoesNothing) {
    host = HCrashRptUtils::fileOpen(registrations);
    carryOver.holdOpen(registrations);
    replace();
    carryOver.begin(Clock::now());
    const Time due = *carryOver.nextPoll();
    hostRegisters(recordOf(process.pid()));
    carryOver.poll(due - std::chrono::milliseconds(1));
    EXPECT_EQ(carryOver.nextPoll(), due);
    EXPECT_EQ(readFile(registrations), "");
}

TEST_F(CarryOverTest, GoesOnBeyondItsTimeWhileAHostHoldsTheLockOfTheNewFile) {
    host = HCrashRptUtils::fileOpen(registrations);
    carryOver.holdOpen(registrations);
    replace();
    hostRegisters(recordOf(process.pid()));
    const int other = HCrashRptUtils::fileOpen(registrations);
    ASSERT_EQ(HCrashRptUtils::fileLock(other, "LOCK_EX|LOCK_NB"), 0);
    const Time begin = Clock::now();
    carryOver.begin(begin);
    while (carryOver.nextPoll() && *carryOver.nextPoll() < begin + std::chrono::seconds(20))
        carryOver.poll(*carryOver.nextPoll());
    HCrashRptUtils::fileClose(other);
    ASSERT_TRUE(carryOver.nextPoll());
    carryOver.poll(*carryOver.nextPoll());
    EXPECT_FALSE(carryOver.nextPoll());
    EXPECT_EQ(readFile(registrations), recordOf(process.pid()) + "\n");
}

TEST_F(CarryOverTest, WithoutANewFileAndWithoutRecordsItEndsToo) {
    carryOver.holdOpen(registrations);
    fs::remove(registrations);
    carryOver.begin(Clock::now());
    for (int polls = 0; polls < 100 && carryOver.nextPoll(); ++polls)
        carryOver.poll(*carryOver.nextPoll());
    EXPECT_FALSE(carryOver.nextPoll());
}

TEST_F(CarryOverTest, ALinkIsNotFollowed) {
    fs::rename(registrations, directory / "elsewhere");
    fs::create_symlink(directory / "elsewhere", registrations);
    carryOver.holdOpen(registrations);
    replace();
    carryOver.begin(Clock::now());
    EXPECT_FALSE(carryOver.nextPoll());
}

TEST_F(CarryOverTest, AMissingFileHasNothingToCarryOver) {
    fs::remove(registrations);
    carryOver.holdOpen(registrations);
    add("processRegFile.txt", "");
    carryOver.begin(Clock::now());
    EXPECT_FALSE(carryOver.nextPoll());
}

}  // namespace

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
    /// Looks whenever it is due until it is over. @return seconds that this covers.
    double lookToTheEnd() {
        const Time start = *carryOver.nextPoll();
        Time last = start;
        while (carryOver.nextPoll()) {
            last = *carryOver.nextPoll();
            carryOver.poll(last);
        }
        return std::chrono::duration<double>(last - start).count();
    }

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
    EXPECT_GE(lookToTheEnd(), 4);
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
    lookToTheEnd();
    EXPECT_EQ(readFile(registrations), recordOf(process.pid()) + "\n");
    EXPECT_EQ(output.text(), "");
}

TEST_F(CarryOverTest, AFileThatWasNotReplacedIsLetGo) {
    carryOver.holdOpen(registrations);
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

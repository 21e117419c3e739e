// What the crash reporter clears away when it starts.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "hcrpt/HCrashRptUtils.h"
#include "recovery/DeadSession.h"
#include "store/AtomicFile.h"
#include "support/ChildProcess.h"

namespace {

using HCrashReporter::clearLeftovers;
using recovery_test::kDeadPid;
using namespace test_support;
using Names = std::vector<std::string>;

class StaleFilesTest : public recovery_test::DeadSessionTest {
  protected:
    StaleFilesTest() { writeRegistrations("testhost:1\n"); }

    static void put(const std::string& path, long secondsAgo = 0) {
        writeFile(path, "half");
        std::timespec time = {};
        clock_gettime(CLOCK_REALTIME, &time);
        time.tv_sec -= secondsAgo;
        recovery_test::setTime(path, time);
    }
    Names inStore() const {
        Names names = namesIn(store);
        names.erase(std::find(names.begin(), names.end(), "processRegFile.txt"));
        return names;
    }
    static constexpr long kHour = 3600;
};

TEST_F(StaleFilesTest, WhatAKilledWriterLeavesIsCleared) {
    const std::string report = store + "/CrashReport_1_testhost_u_t.json";
    ChildProcess writer = ChildProcess::fork([&] {
        hcrpt::AtomicFile file(report);
        file.stream() << "half" << std::flush;
        return raise(SIGKILL);
    });
    EXPECT_EQ(writer.wait(), test_support::killedBy(SIGKILL));
    ASSERT_EQ(inStore().size(), 1U);
    const test_support::StdoutCapture output;
    clearLeftovers();
    EXPECT_EQ(inStore(), Names{});
    EXPECT_EQ(output.text(), "");
}

TEST_F(StaleFilesTest, WhatAKilledCopierLeavesIsCleared) {
    put(store + "/.crashcopy_" + kDeadPid + "_4194306_0");
    clearLeftovers();
    EXPECT_EQ(inStore(), Names{});
}

TEST_F(StaleFilesTest, WhatARunningWriterWritesStaysHoweverOld) {
    const std::string pid = std::to_string(getpid());
    const Names names = {".crashcopy_" + pid + "_1_0", ".hcrpt-" + pid + "-abcdef"};
    for (const std::string& name : names) {
        put(store + "/" + name, 100 * kHour);
        put(backup + "/" + name, 100 * kHour);
    }
    clearLeftovers();
    EXPECT_EQ(inStore(), names);
    EXPECT_EQ(namesIn(backup), names);
}

TEST_F(StaleFilesTest, WhatMayBeAnotherMachinesStaysForAnHour) {
    writeRegistrations("testhost:1\notherhost:2\n");
    put(store + "/.hcrpt-4194305-newone", kHour - 100);
    put(store + "/.hcrpt-4194305-oldone", kHour + 100);
    clearLeftovers();
    EXPECT_EQ(inStore(), Names{".hcrpt-4194305-newone"});
}

TEST_F(StaleFilesTest, TheBackupStoreMayBeUsedByOtherMachines) {
    put(backup + "/.hcrpt-4194305-newone", kHour - 100);
    put(backup + "/.hcrpt-4194305-oldone", kHour + 100);
    clearLeftovers();
    EXPECT_EQ(namesIn(backup), Names{".hcrpt-4194305-newone"});
}

TEST_F(StaleFilesTest, NothingElseIsTouched) {
    const Names names = {".crashcopy_x_1_0",
                         ".crashcopy_4194305",
                         ".hcrpt-4194305",
                         ".hcrpt-x-abcdef",
                         ".hcrpt--abcdef",
                         ".processfacts_otherhost_4194305",
                         ".processfacts_testhost_x",
                         "CrashReport_4194305_testhost_u_t.json",
                         "hcrpt-4194305-abcdef",
                         "hs_err_pid4194305.log",
                         "hs_mangled_err_pid4194305.log"};
    for (const std::string& name : names) put(store + "/" + name, 100 * kHour);
    for (const std::string& name : names) put(backup + "/" + name, 100 * kHour);
    Names there = names;
    std::sort(there.begin(), there.end());
    clearLeftovers();
    EXPECT_EQ(inStore(), there);
    EXPECT_EQ(namesIn(backup), there);
}

TEST_F(StaleFilesTest, NeitherDirectoriesNorLinksAreTouched) {
    std::filesystem::create_directory(store + "/.hcrpt-4194305-direct");
    std::filesystem::create_symlink("/etc/passwd", store + "/.hcrpt-4194305-linked");
    clearLeftovers();
    EXPECT_EQ(inStore(), (Names{".hcrpt-4194305-direct", ".hcrpt-4194305-linked"}));
}

TEST_F(StaleFilesTest, WithoutStoresThereIsNothingToDo) {
    std::filesystem::remove_all(store);
    std::filesystem::remove_all(backup);
    clearLeftovers();
    EXPECT_FALSE(std::filesystem::exists(store));
    EXPECT_FALSE(std::filesystem::exists(backup));
}

// --- Facts --------------------------------------------------------------------------------------

TEST_F(StaleFilesTest, FactsOfAnEndedProcessWithoutATraceAreCleared) {
    leaveFacts(kDeadPid);
    ASSERT_TRUE(std::filesystem::exists(factsPath(kDeadPid)));
    clearLeftovers();
    EXPECT_FALSE(std::filesystem::exists(factsPath(kDeadPid)));
}

TEST_F(StaleFilesTest, FactsOfARunningProcessStay) {
    HCrashReporter::leaveProcessFacts();
    clearLeftovers();
    EXPECT_TRUE(std::filesystem::exists(factsPath(std::to_string(getpid()))));
}

// They tell that this process is not the registered one.
TEST_F(StaleFilesTest, FactsOfAProcessStayWhileAnotherOneHasItsId) {
    auto other = test_support::ChildProcess::exec({"sleep", "60"});
    const std::string path = factsPath(std::to_string(other.pid()));
    writeFile(path, R"({"startTime": "1"})");
    clearLeftovers();
    EXPECT_TRUE(std::filesystem::exists(path));
    other.signal(SIGKILL);
    other.wait();
    clearLeftovers();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(StaleFilesTest, FactsStayForAReportThatIsStillToBeWritten) {
    leaveFacts(kDeadPid);
    addTrace(kDeadPid);
    clearLeftovers();
    EXPECT_TRUE(std::filesystem::exists(factsPath(kDeadPid)));
}

TEST_F(StaleFilesTest, FactsAreClearedOnceTheReportCame) {
    leaveFacts(kDeadPid);
    addTrace(kDeadPid);
    addReport(backup + "/CrashReport_4194305_testhost_u_later.json.send_success", kCrash);
    clearLeftovers();
    EXPECT_FALSE(std::filesystem::exists(factsPath(kDeadPid)));
}

}  // namespace

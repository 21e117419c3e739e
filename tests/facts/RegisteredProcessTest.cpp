// Which records of the registration file belong to a process that runs.
#include <signal.h>
#include <unistd.h>

#include <string>

#include "facts/ProcessFacts.h"
#include "facts/RegisteredProcess.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "store/SessionPaths.h"
#include "support/ChildProcess.h"
#include "support/SessionScene.h"

namespace {

using hcrpt::isStillRunning;
using test_support::ChildProcess;

class RegisteredProcessTest : public test_support::SessionScene {
  protected:
    RegisteredProcessTest() {
        makeStore();
        platform.fakePid = process.pid();
        HCrashReporter::leaveProcessFacts();
        platform.fakePid.reset();
    }
    std::string factsPath() const { return hcrpt::factsPath("testhost", pid()); }
    std::string pid() const { return std::to_string(process.pid()); }
    std::string record() const { return "testhost:" + pid(); }
    void change(std::string hcrpt::ProcessFacts::*fact, const std::string& text) const {
        auto facts = hcrpt::readFacts(factsPath()).value();
        facts.*fact = text;
        ASSERT_TRUE(hcrpt::writeFacts(factsPath(), facts));
    }

    ChildProcess process = ChildProcess::exec({"sleep", "60"});
};

TEST_F(RegisteredProcessTest, RunsUntilItHasEnded) {
    EXPECT_TRUE(isStillRunning(record()));
    process.signal(SIGKILL);
    process.wait();
    EXPECT_FALSE(isStillRunning(record()));
}

TEST_F(RegisteredProcessTest, OfAnEarlierBootHasGone) {
    change(&hcrpt::ProcessFacts::bootId, "another boot");
    EXPECT_FALSE(isStillRunning(record()));
}

TEST_F(RegisteredProcessTest, OfAnotherPidNamespaceIsNotTheOneThatHasItsIdHere) {
    change(&hcrpt::ProcessFacts::pidNamespace, "pid:[1]");
    EXPECT_FALSE(isStillRunning(record()));
}

TEST_F(RegisteredProcessTest, OfAnotherStartTimeHasGone) {
    change(&hcrpt::ProcessFacts::startTime, "1");
    EXPECT_FALSE(isStillRunning(record()));
}

TEST_F(RegisteredProcessTest, IsKnownByItsIdAloneWhereItHasLeftNothingElse) {
    for (const auto fact : {&hcrpt::ProcessFacts::bootId, &hcrpt::ProcessFacts::pidNamespace,
                            &hcrpt::ProcessFacts::startTime})
        change(fact, "");
    EXPECT_TRUE(isStillRunning(record()));
    unlink(factsPath().c_str());
    EXPECT_TRUE(isStillRunning(record()));
}

TEST_F(RegisteredProcessTest, OfAnotherMachineOrWithoutAnIdIsNone) {
    for (const std::string& other : {"otherhost:" + pid(), std::string("testhost:"),
                                     std::string("testhost:self"), std::string("testhost")})
        EXPECT_FALSE(isStillRunning(other)) << other;
}

}  // namespace

// A tool of the report that never ends: its facts are lost, not the report.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using namespace crash_test;

namespace {

/// A tool that notes its process and one that it starts, writes half a line and waits forever.
void makeHangingTool(const std::string& path, const std::string& ids) {
    test_support::writeFile(path, "#!/bin/sh\necho $$ >>" + ids + "\nsleep 1000 &\necho $! >>" +
                                      ids + "\nprintf ' 12'\nwait\n");
    chmod(path.c_str(), 0700);
}

void expectAllEnded(const std::string& ids, int count) {
    std::ifstream in(ids);
    int noted = 0;
    for (pid_t id = 0; in >> id; ++noted)
        EXPECT_TRUE(test_support::eventually([id] { return kill(id, 0) != 0; })) << id;
    EXPECT_EQ(count, noted);
}

TEST(HangingToolTest, AToolThatHangsIsEndedAndCostsItsFactsOnly) {
    CrashScene scene;
    const std::string tools = scene.directory / "tools";
    const std::string ids = scene.directory / "ids";
    std::filesystem::create_directory(tools);
    makeHangingTool(tools + "/ps", ids);
    scene.preparation = [&] { setenv("PATH", (tools + ":" + std::getenv("PATH")).c_str(), 1); };
    const Outcome outcome = scene.run("null-write");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    expectItem(outcome, "cpuUtilization", " %");
    expectItem(outcome, "memoryUtilization", " %");
    EXPECT_NE(std::string::npos, outcome.report.find("\"memInfo\"")) << "after the last tool";
    expectAllEnded(ids, 4);
}

}  // namespace

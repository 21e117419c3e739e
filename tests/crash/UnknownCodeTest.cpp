// Code that no unwinder knows: made at run time, or of a library whose file was cut while loaded.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"

using namespace crash_test;

namespace {

TEST(UnknownCodeTest, GeneratedCodeIsFollowedByItsFramePointersToItsCaller) {
    CrashScene scene;
    const Outcome outcome = scene.run("generated-code");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::callGenerated()");
    // The interrupted instruction and the call before it lie in no module.
    const std::size_t caller = outcome.log.find("libzeb_failing.so(");
    const std::size_t outer = outcome.log.rfind("\n[0x", caller);
    ASSERT_NE(std::string::npos, outer) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.log.rfind("\n[0x", outer - 1)) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.log.find("(main+")) << outcome.log;
}

TEST(UnknownCodeTest, AnInstructionOfACutLibraryIsShownWithModuleOffsetAndCallers) {
    CrashScene scene;
    const Outcome outcome = scene.run("cut-library");
    expectWholeRecord(outcome, SIGBUS);
    EXPECT_NE(std::string::npos, outcome.log.find("libzeb_cut.so(+0x")) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.log.find("(main+")) << outcome.log;
    expectItem(outcome, "subSystem", "cut");
}

// The unwinder's table of that library is gone, too: frame pointers lead on.
TEST(UnknownCodeTest, AReturnIntoACutLibraryIsShownWithModuleOffsetAndCallers) {
    CrashScene scene;
    const Outcome outcome = scene.run("return-into-cut-library");
    expectWholeRecord(outcome, SIGBUS);
    EXPECT_NE(std::string::npos, outcome.log.find("libzeb_cut.so(+0x")) << outcome.log;
    EXPECT_NE(std::string::npos, outcome.log.find("(main+")) << outcome.log;
    expectItem(outcome, "subSystem", "cut");
}

TEST(UnknownCodeTest, ACallerInACutLibraryEndsTheTrace) {
    CrashScene scene;
    const Outcome outcome = scene.run("below-cut-library");
    expectWholeRecord(outcome, SIGSEGV);
    expectNamed(outcome, "zeb::failing::nullWrite()");
    EXPECT_NE(std::string::npos, outcome.rawTrace.find(kNotice)) << outcome.rawTrace;
}

}  // namespace

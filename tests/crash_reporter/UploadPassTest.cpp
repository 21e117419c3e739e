#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "StoreScene.h"
#include "crash_reporter/StopSignal.h"
#include "crash_reporter/UploadPass.h"
#include "support/ChildProcess.h"
#include "support/FakeUploadTool.h"
#include "support/LinkSeams.h"
#include "support/ScopedFault.h"
#include "support/StdoutCapture.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::StopSignal;
using crash_reporter::UploadPass;
using namespace test_support;
using Names = std::vector<std::string>;

class UploadPassTest : public crash_reporter_test::StoreScene {
  protected:
    UploadPassTest() {
        platform.fakeAppRoot = tool.appRoot();
        platform.fakeDataDir = directory.path();
        platform.fakeTmpDir = directory.path();
        fs::create_directory(directory / "telemon");
        writeFile(directory / "telemon/cacert.pem", "certificate");
        for (const char* name : {"CrashReport_1", "CrashReport_2"}) add(name, "{}");
    }
    /// Lets the tool wait for a file of this name, or for the end of the test.
    void letToolWaitFor(const std::string& name) const {
        const std::string started = directory / "started";
        writeFile(tool.path(), "#!/bin/sh\n: >'" + started + "'\nwhile [ -e '" + started +
                                   "' ] && [ ! -e '" + (directory / name) +
                                   "' ]; do sleep 0.01; done\necho 'HTTP/1.1 200 OK'\n");
    }
    bool hasEnded() {
        return test_support::eventually([this] { return pass.hasEnded(); });
    }
    bool hasStarted() const {
        return test_support::eventually([this] { return fs::exists(directory / "started"); });
    }

    test_support::FakeUploadTool tool;
    UploadPass pass;
    StdoutCapture output;
};

TEST_F(UploadPassTest, RunsInAProcessOfItsOwnWhoseEndIsTold) {
    letToolWaitFor("release");
    pass.begin();
    EXPECT_TRUE(pass.isRunning());
    pollfd end = {pass.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&end, 1, 0), 0);
    EXPECT_FALSE(pass.hasEnded());
    writeFile(directory / "release", "");
    EXPECT_EQ(poll(&end, 1, 20000), 1);
    EXPECT_TRUE(pass.hasEnded()) << "its end was told";
    EXPECT_FALSE(pass.isRunning());
    EXPECT_FALSE(pass.hasEnded()) << "told twice";
    EXPECT_EQ(namesIn(backup), (Names{"CrashReport_1.send_success", "CrashReport_2.send_success"}));
    const std::string text = output.text();
    EXPECT_EQ(text.find("Velcurl send success") == std::string::npos, false) << text;
}

TEST_F(UploadPassTest, StoppedItFilesTheReportThatItIsAt) {
    const StopSignal signals;
    letToolWaitFor("release");
    pass.begin();
    ASSERT_TRUE(hasStarted());
    pass.stop();
    writeFile(directory / "release", "");
    EXPECT_TRUE(hasEnded());
    EXPECT_EQ(namesIn(backup).size(), 1U);
    EXPECT_FALSE(signals.isRequested()) << "the pass was asked, not this process";
}

TEST_F(UploadPassTest, OneThatIsKilledIsTold) {
    letToolWaitFor("release");
    pass.begin();
    ASSERT_TRUE(hasStarted());
    pass.stop();  // nobody handles the signal here
    EXPECT_TRUE(hasEnded());
    writeFile(directory / "release", "");
    EXPECT_NE(output.text().find(
                  "[Crash Reporter] Error: The pass over the reports was ended by signal 15.\n"),
              std::string::npos);
}

TEST_F(UploadPassTest, WhatStandsInTheBufferOfStandardOutputIsNotWrittenTwice) {
    std::fputs("only once\n", stdout);
    pass.begin();
    EXPECT_TRUE(hasEnded());
    const std::string text = output.text();
    const std::size_t first = text.find("only once");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(text.find("only once", first + 1), std::string::npos) << text;
}

TEST_F(UploadPassTest, WithoutAProcessToHaveItIsMadeHereThoughTheLastOneWasKilled) {
    letToolWaitFor("release");
    pass.begin();
    ASSERT_TRUE(hasStarted());
    pass.stop();  // nobody handles the signal here
    ASSERT_TRUE(hasEnded());
    EXPECT_TRUE(pass.wasKilled());
    writeFile(directory / "release", "");
    const seams::ScopedSeam seam(seams::onFork, [] {
        errno = EAGAIN;
        return -1;
    });
    pass.begin();
    EXPECT_TRUE(pass.hasEnded());
    EXPECT_FALSE(pass.wasKilled());
}

TEST_F(UploadPassTest, ASignalDoesNotHideItsEnd) {
    pass.begin();
    const test_support::ScopedFault interrupted(seams::onWaitpid, EINTR, 2);
    EXPECT_TRUE(hasEnded());
    EXPECT_FALSE(pass.wasKilled());
    EXPECT_EQ(interrupted.met(), 2);
}

TEST_F(UploadPassTest, WithoutAProcessToHaveItIsMadeHere) {
    const seams::ScopedSeam seam(seams::onFork, [] {
        errno = EAGAIN;
        return -1;
    });
    pass.begin();
    EXPECT_FALSE(pass.isRunning());
    EXPECT_TRUE(pass.hasEndedHere());
    EXPECT_TRUE(pass.hasEnded());
    EXPECT_FALSE(pass.hasEnded());
    EXPECT_EQ(namesIn(backup).size(), 2U);
    EXPECT_EQ(test_support::timesIn(output.text(),
                                    "[Crash Reporter] Error: Could not start a process for the "
                                    "upload, uploading in this one.\n"),
              1U);
}

TEST(StopSignalTest, ASignalMakesItsDescriptorReadableAndEndsNothing) {
    const StopSignal stop;
    pollfd wait = {stop.descriptor(), POLLIN, 0};
    EXPECT_FALSE(stop.isRequested());
    EXPECT_EQ(poll(&wait, 1, 0), 0);
    raise(SIGTERM);
    raise(SIGTERM);
    EXPECT_TRUE(stop.isRequested());
    EXPECT_EQ(poll(&wait, 1, 0), 1);
}

// The child of a pass gets the signal, too, and shares the descriptor.
TEST(StopSignalTest, ASignalToAForkedChildIsNoneToItsParent) {
    const StopSignal stop;
    test_support::ChildProcess child = test_support::ChildProcess::fork([&] {
        raise(SIGTERM);
        return stop.isRequested() ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), test_support::exitedWith(0));
    pollfd wait = {stop.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&wait, 1, 0), 0);
    EXPECT_FALSE(stop.isRequested());
}

TEST(StopSignalTest, ItsDescriptorNeverBlocksAndIsNotInherited) {
    const StopSignal stop;
    EXPECT_NE(fcntl(stop.descriptor(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(stop.descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(StopSignalTest, AProgramThatIsStartedCanBeEndedByTheSignal) {
    const StopSignal stop;
    test_support::ChildProcess program = test_support::ChildProcess::exec({"sleep", "60"});
    ASSERT_TRUE(test_support::eventually([&] {
        return fs::read_symlink("/proc/" + std::to_string(program.pid()) + "/exe").filename() !=
               fs::read_symlink("/proc/self/exe").filename();
    }));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), test_support::killedBy(SIGTERM));
    EXPECT_FALSE(stop.isRequested());
}

}  // namespace

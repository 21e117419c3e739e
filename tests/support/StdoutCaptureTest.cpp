#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"

namespace {

using namespace test_support;

TEST(StdoutCaptureTest, TellsFlushedTextFromWhatIsStillBuffered) {
    const StdoutCapture capture;
    std::printf("buffered\n");
    EXPECT_EQ(capture.flushedText(), "");
    EXPECT_EQ(capture.text(), "buffered\n");
    EXPECT_EQ(capture.flushedText(), "buffered\n");
}

TEST(StdoutCaptureTest, CatchesWritesToTheDescriptorAndOfChildren) {
    const StdoutCapture capture;
    ASSERT_EQ(write(STDOUT_FILENO, "own ", 4), 4);
    EXPECT_EQ(std::system("echo child"), 0);
    EXPECT_EQ(capture.flushedText(), "own child\n");
}

TEST(StdoutCaptureTest, GivesStandardOutputBack) {
    auto child = ChildProcess::fork([] {
        std::printf("before|");
        {
            const StdoutCapture capture;
            std::printf("captured|");
        }
        std::printf("after");
        return 0;
    });
    child.wait();
    EXPECT_EQ(child.standardOutput(), "before|after");
}

}  // namespace

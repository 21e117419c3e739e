#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>
#include <thread>

#include "capture/CrashOutput.h"
#include "support/ChildProcess.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using hcrpt::flushStdout;
using hcrpt::putStdout;
using namespace test_support;

namespace {

/// Holds stdio's lock of standard output in another thread, as a thread does that was stopped in
/// the middle of printf(). It gives up after a while, so that a wait for it shows as a late end.
class LockedStdout {
  public:
    LockedStdout()
        : m_holder([this] {
              flockfile(stdout);
              m_held = true;
              test_support::eventually([this] { return m_stop.load(); });
              m_held = false;
              funlockfile(stdout);
          }) {
        while (!m_held) std::this_thread::yield();
    }
    ~LockedStdout() {
        m_stop = true;
        m_holder.join();
    }
    bool isHeld() const { return m_held; }

  private:
    std::atomic<bool> m_held{false};
    std::atomic<bool> m_stop{false};
    std::thread m_holder;
};

// --- putStdout ----------------------------------------------------------------------------------

TEST(PutStdoutTest, TextGoesBehindWhatIsBuffered) {
    const StdoutCapture capture;
    std::fputs("first ", stdout);
    putStdout("second ");
    putStdout("third fourth", 6);
    std::fputs("last", stdout);
    EXPECT_EQ("", capture.flushedText()) << "stdio's buffer was passed by";
    EXPECT_EQ("first second third last", capture.text());
}

TEST(PutStdoutTest, WithoutABufferTheTextGoesStraightToTheDescriptor) {
    const TempDir directory;
    const std::string path = directory / "out";
    ChildProcess child = ChildProcess::fork([&] {
        if (std::freopen(path.c_str(), "w", stdout) == nullptr) return 1;
        if (__fbufsize(stdout) != 0) return 2;  // not a case of this test
        putStdout("straight");
        if (__fbufsize(stdout) != 0) return 3;  // stdio took a buffer from the heap
        return readFile(path) == "straight" ? 0 : 4;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

TEST(PutStdoutTest, ALockThatAnotherThreadHoldsIsNotWaitedFor) {
    const StdoutCapture capture;
    const LockedStdout lock;
    putStdout("not waited");
    EXPECT_TRUE(lock.isHeld());
    EXPECT_EQ("not waited", capture.flushedText());
}

TEST(PutStdoutTest, ALockThatThisThreadHoldsIsNoObstacle) {
    const StdoutCapture capture;
    flockfile(stdout);
    putStdout("inside");
    flushStdout();
    EXPECT_EQ("inside", capture.flushedText());
    funlockfile(stdout);
}

TEST(PutStdoutTest, AClosedStandardOutputNeverReachesAnotherFile) {
    const TempDir directory;
    const std::string path = directory / "database";
    ChildProcess child = ChildProcess::fork([&] {
        std::fclose(stdout);
        // The file of someone else takes the place of the closed descriptor.
        if (open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600) != STDOUT_FILENO) return 1;
        putStdout("message");
        flushStdout();
        {
            const LockedStdout lock;
            putStdout("message");
            flushStdout();
        }
        return readFile(path).empty() ? 0 : 2;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

// --- flushStdout --------------------------------------------------------------------------------

TEST(FlushStdoutTest, FlushesWhatIsBuffered) {
    const StdoutCapture capture;
    std::fputs("text", stdout);
    flushStdout();
    EXPECT_EQ("text", capture.flushedText());
}

TEST(FlushStdoutTest, ALockThatAnotherThreadHoldsIsNotWaitedFor) {
    const StdoutCapture capture;
    std::fputs("text", stdout);
    {
        const LockedStdout lock;
        flushStdout();
        EXPECT_TRUE(lock.isHeld());
        EXPECT_EQ("", capture.flushedText());
    }
    flushStdout();
    EXPECT_EQ("text", capture.flushedText());
}

// --- A pipe that nobody reads -------------------------------------------------------------------

/// Puts a full pipe in the place of standard output. @return the end to read from.
int makeStdoutAFullPipe() {
    int ends[2];
    if (pipe2(ends, O_NONBLOCK) != 0) _exit(2);
    const char block[4096] = {};
    while (write(ends[1], block, sizeof block) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);  // writing waits from now on, as hosts' pipes do
    dup2(ends[1], STDOUT_FILENO);
    close(ends[1]);
    return ends[0];
}

TEST(CrashOutputTest, ATextForAFullPipeIsLostInPlaceOfBeingWaitedFor) {
    ChildProcess host = ChildProcess::fork([] {
        makeStdoutAFullPipe();
        putStdout("lost, without a buffer\n");
        const LockedStdout locked;
        putStdout("lost, with the lock held\n");
        _exit(0);
        return 1;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(CrashOutputTest, WhatWaitsInTheBufferIsNotFlushedIntoAFullPipe) {
    ChildProcess host = ChildProcess::fork([] {
        makeStdoutAFullPipe();
        static char buffer[4096];
        setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
        std::fputs("host's own\n", stdout);
        putStdout("last words\n");
        flushStdout();
        const bool kept = __fpending(stdout) > 0;
        _exit(kept ? 0 : 1);
        return 1;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

TEST(CrashOutputTest, AReaderThatComesWithinTheSecondGetsTheText) {
    ChildProcess host = ChildProcess::fork([] {
        const int reader = makeStdoutAFullPipe();
        std::string read;
        std::thread late([&] {
            usleep(200 * 1000);
            char block[4096];
            test_support::eventually([&] {
                for (ssize_t got; (got = ::read(reader, block, sizeof block)) > 0;)
                    read.append(block, static_cast<std::size_t>(got));
                return read.find("last words") != std::string::npos;
            });
        });
        putStdout("last words\n");
        flushStdout();
        late.join();
        _exit(read.find("last words\n") != std::string::npos ? 0 : 1);
        return 1;
    });
    EXPECT_EQ(exitedWith(0), host.wait());
}

}  // namespace

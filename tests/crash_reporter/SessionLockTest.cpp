#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "StoreScene.h"
#include "crash_reporter/SessionLock.h"
#include "support/ChildProcess.h"
#include "support/ScopedFault.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::SessionLock;
using test_support::ChildProcess;
using Outcome = SessionLock::Outcome;

class SessionLockTest : public crash_reporter_test::StoreScene {
  protected:
    SessionLock lock;
};

TEST_F(SessionLockTest, OneHoldsItUntilItIsReleased) {
    SessionLock other;
    EXPECT_EQ(lock.take(), Outcome::taken);
    EXPECT_EQ(other.take(), Outcome::heldByAnother);
    EXPECT_EQ(other.take(), Outcome::heldByAnother);
    lock.release();
    EXPECT_EQ(other.take(), Outcome::taken);
    EXPECT_EQ(lock.take(), Outcome::heldByAnother);
}

TEST_F(SessionLockTest, AnAnnouncedReleaseIsKnownUntilTheLockIsTaken) {
    EXPECT_FALSE(SessionLock::isReleaseAnnounced());
    SessionLock first;
    ASSERT_EQ(first.take(), SessionLock::Outcome::taken);
    EXPECT_FALSE(SessionLock::isReleaseAnnounced());
    first.announceRelease();
    EXPECT_TRUE(SessionLock::isReleaseAnnounced());
    SessionLock second;
    EXPECT_EQ(second.take(), SessionLock::Outcome::heldByAnother);
    EXPECT_TRUE(SessionLock::isReleaseAnnounced());
    first.release();
    EXPECT_EQ(second.take(), SessionLock::Outcome::taken);
    EXPECT_FALSE(SessionLock::isReleaseAnnounced());
}

TEST_F(SessionLockTest, ADirectoryInItsPlaceAnnouncesNothing) {
    fs::create_directory(SessionLock::path());
    EXPECT_FALSE(SessionLock::isReleaseAnnounced());
}

TEST_F(SessionLockTest, ASignalDoesNotKeepItFromBeingTaken) {
    const test_support::ScopedFault interrupted(seams::onFlock, EINTR);
    EXPECT_EQ(lock.take(), Outcome::taken);
    EXPECT_EQ(interrupted.met(), 1);
}

TEST_F(SessionLockTest, WhatTheSystemDoesNotLockIsNotHeldByAnother) {
    const test_support::ScopedFault refused(seams::onFlock, ENOLCK);
    EXPECT_EQ(lock.take(), Outcome::impossible);
}

TEST_F(SessionLockTest, IsAFileForItsOwnerOnly) {
    const mode_t before = umask(0);
    EXPECT_EQ(lock.take(), Outcome::taken);
    umask(before);
    EXPECT_EQ(test_support::modeOf(sessionDirectory + "/reporter.lock"), 0600U);
}

TEST_F(SessionLockTest, OneThatIsKilledLeavesItFree) {
    const std::string held = directory / "held";
    ChildProcess holder = ChildProcess::fork([&] {
        if (lock.take() != Outcome::taken) return 1;
        test_support::writeFile(held, "");
        pause();
        return 0;
    });
    ASSERT_TRUE(test_support::eventually([&] { return fs::exists(held); }));
    EXPECT_EQ(lock.take(), Outcome::heldByAnother);
    holder.signal(SIGKILL);
    holder.wait();
    EXPECT_EQ(lock.take(), Outcome::taken);
}

TEST_F(SessionLockTest, AProgramThatIsStartedMeanwhileDoesNotHoldIt) {
    ASSERT_EQ(lock.take(), Outcome::taken);
    const ChildProcess program = ChildProcess::exec({"sleep", "60"});
    ASSERT_TRUE(test_support::eventually([&] {
        return fs::read_symlink("/proc/" + std::to_string(program.pid()) + "/exe").filename() !=
               fs::read_symlink("/proc/self/exe").filename();
    }));
    lock.release();
    EXPECT_EQ(SessionLock().take(), Outcome::taken);
}

TEST_F(SessionLockTest, AForkedChildThatRunsNoOtherProgramKeepsItHeld) {
    ASSERT_EQ(lock.take(), Outcome::taken);
    ChildProcess child = ChildProcess::fork([] { return pause(); });
    lock.release();
    EXPECT_EQ(lock.take(), Outcome::heldByAnother);
    child.signal(SIGKILL);
    child.wait();
    EXPECT_EQ(lock.take(), Outcome::taken);
}

TEST_F(SessionLockTest, OneOfARemovedDirectoryIsNotInPlace) {
    EXPECT_FALSE(lock.isInPlace());
    ASSERT_EQ(lock.take(), Outcome::taken);
    EXPECT_TRUE(lock.isInPlace());
    fs::remove_all(sessionDirectory);
    EXPECT_FALSE(lock.isInPlace());
    fs::create_directories(sessionDirectory);
    SessionLock other;
    EXPECT_EQ(other.take(), Outcome::taken);
    EXPECT_FALSE(lock.isInPlace());
}

TEST_F(SessionLockTest, WithoutADirectoryOrBehindALinkThereIsNone) {
    fs::create_symlink(directory / "elsewhere", sessionDirectory + "/reporter.lock");
    EXPECT_EQ(lock.take(), Outcome::impossible);
    EXPECT_FALSE(fs::exists(directory / "elsewhere"));
    fs::remove_all(sessionDirectory);
    EXPECT_EQ(lock.take(), Outcome::impossible);
}

}  // namespace

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "StoreScene.h"
#include "crash_reporter/FilingPlace.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::obstacleToFiling;
using test_support::writeFile;

class FilingPlaceTest : public crash_reporter_test::StoreScene {
  protected:
    bool mountSmall(const std::string& place) {
        // Seen by this process alone, and gone with it.
        return unshare(CLONE_NEWNS) == 0 &&
               mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
               mount("tmpfs", place.c_str(), "tmpfs", 0, "size=256k") == 0;
    }
    const std::string report = add("CrashReport_1.json", std::string(1000, 'x'));
};

TEST_F(FilingPlaceTest, TheBackupStoreIsMadeForItsOwnerOnly) {
    const mode_t before = umask(077);
    EXPECT_EQ(obstacleToFiling({report}), std::nullopt);
    umask(before);
    EXPECT_EQ(fs::status(backup).permissions(), fs::perms::owner_all);
}

TEST_F(FilingPlaceTest, ABackupStoreThatCannotBeMadeIsAnObstacle) {
    platform.fakeAppDataDir = directory / "not/there";
    EXPECT_EQ(obstacleToFiling({report}), "backup store " +
                                              (directory / "not/there/crashStoreBackup") +
                                              " cannot be made (No such file or directory)");
}

TEST_F(FilingPlaceTest, AFileInItsPlaceIsAnObstacle) {
    writeFile(backup, "");
    EXPECT_EQ(obstacleToFiling({report}).value_or("").rfind(
                  "nothing can be written to backup store " + backup, 0),
              0U);
}

TEST_F(FilingPlaceTest, AFileSystemThatDoesNotCountItsBlocksIsNoObstacle) {
    if (geteuid() != 0) GTEST_SKIP() << "needs the right to write anywhere";
    fs::create_directory_symlink("/proc", backup);
    EXPECT_EQ(obstacleToFiling({report}), std::nullopt);
}

TEST_F(FilingPlaceTest, ACrashStoreThatIsReadOnlyIsAnObstacle) {
    if (!mountSmall(store)) GTEST_SKIP() << "needs the right to mount";
    ASSERT_EQ(mount(nullptr, store.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(obstacleToFiling({report}),
              "nothing can be removed from crash store " + store + " (Read-only file system)");
    umount(store.c_str());
}

TEST_F(FilingPlaceTest, ABackupStoreWithoutRoomForTheReportsIsAnObstacle) {
    fs::create_directory(backup);
    if (!mountSmall(backup)) GTEST_SKIP() << "needs the right to mount";
    EXPECT_EQ(obstacleToFiling({report}), std::nullopt);
    const std::string large = add("CrashReport_2.json", std::string(200 << 10, 'x'));
    EXPECT_EQ(obstacleToFiling({report, large}), "no room is left in backup store " + backup);
    writeFile(backup + "/filler", std::string(210 << 10, 'x'));
    EXPECT_EQ(obstacleToFiling({report}), "no room is left in backup store " + backup);
    umount(backup.c_str());
}

}  // namespace

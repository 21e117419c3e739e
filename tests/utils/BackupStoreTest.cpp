#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "hcrpt/HCrashRptUtils.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/ScopedFakePlatform.h"
#include "support/StdoutCapture.h"
#include "support/TempDir.h"

using seams::ScopedSeam;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

constexpr auto kNoStatus = static_cast<HCrashRptSettings::RptBackupStatus>(3);

class BackupStoreTest : public testing::Test {
  protected:
    BackupStoreTest() {
        fs::create_directories(dir / "data");
        platform.fakeAppDataDir = dir / "data";
    }
    static std::string movedLine(const std::string& destination) {
        return "[Crash Reporter] Moved crash report to backup store at " + destination + "\n";
    }

    const TempDir dir;
    ScopedFakePlatform platform;
    const std::string report = dir / "CrashReport_x.json";
    const std::string store = dir / "data/crashStoreBackup";
};

}  // namespace

TEST_F(BackupStoreTest, EachStatusHasItsText) {
    EXPECT_EQ(HCrashRptUtils::backupStatusToString(HCrashRptSettings::SEND_SUCCESS),
              "send_success");
    EXPECT_EQ(HCrashRptUtils::backupStatusToString(HCrashRptSettings::SEND_FAIL), "send_fail");
    EXPECT_EQ(HCrashRptUtils::backupStatusToString(HCrashRptSettings::SEND_LATER), "send_later");
    EXPECT_EQ(HCrashRptUtils::backupStatusToString(kNoStatus), "");
}

TEST_F(BackupStoreTest, ReportMovesUnderItsNameAndStatus) {
    const struct {
        HCrashRptSettings::RptBackupStatus status;
        const char* name;
    } cases[] = {
        {HCrashRptSettings::SEND_SUCCESS, "CrashReport_x.json.send_success"},
        {HCrashRptSettings::SEND_FAIL, "CrashReport_x.json.send_fail"},
        {HCrashRptSettings::SEND_LATER, "CrashReport_x.json.send_later"},
        // The dot stays without a text behind it.
        {kNoStatus, "CrashReport_x.json."},
    };
    for (const auto& each : cases) {
        fs::remove_all(store);
        test_support::writeFile(report, "content");
        const StdoutCapture capture;
        HCrashRptUtils::moveFileToBackupStore(report, each.status);
        const std::string destination = store + "/" + each.name;
        EXPECT_EQ(capture.flushedText(), movedLine(destination));
        EXPECT_EQ(test_support::namesIn(store), std::vector<std::string>{each.name});
        EXPECT_EQ(test_support::readFile(destination), "content");
        EXPECT_FALSE(fs::exists(report));
    }
}

TEST_F(BackupStoreTest, EveryByteIsCopied) {
    std::string content;
    for (int i = 0; i < 300000; ++i) content += static_cast<char>(i % 256);
    test_support::writeFile(report, content);
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_TRUE(test_support::readFile(store + "/CrashReport_x.json.send_success") == content);
}

TEST_F(BackupStoreTest, EmptyReportIsMovedToo) {
    test_support::writeFile(report, "");
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_FAIL);
    EXPECT_EQ(test_support::readFile(store + "/CrashReport_x.json.send_fail"), "");
    EXPECT_FALSE(fs::exists(report));
}

TEST_F(BackupStoreTest, LaterReportOfTheSameNameAndStatusReplacesTheEarlier) {
    const StdoutCapture capture;
    test_support::writeFile(report, "the first and longer one");
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    test_support::writeFile(report, "second");
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(test_support::namesIn(store),
              std::vector<std::string>{"CrashReport_x.json.send_success"});
    EXPECT_EQ(test_support::readFile(store + "/CrashReport_x.json.send_success"), "second");
}

TEST_F(BackupStoreTest, StoreAndReportAreForTheirOwnerOnly) {
    test_support::writeFile(report, "private");
    chmod(report.c_str(), 0644);
    umask(0);
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(test_support::modeOf(store), 0700U);
    EXPECT_EQ(test_support::modeOf(store + "/CrashReport_x.json.send_success"), 0600U);
}

TEST_F(BackupStoreTest, MissingReportMakesTheStoreAndNothingElse) {
    int removals = 0;
    platform.onRm = [&](const std::string&) {
        ++removals;
        return false;
    };
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(capture.text(), "");
    EXPECT_TRUE(fs::is_directory(store));
    EXPECT_TRUE(test_support::namesIn(store).empty());
    EXPECT_EQ(removals, 0);
}

TEST_F(BackupStoreTest, ExistingStoreIsNotMadeAgain) {
    fs::create_directories(store);
    int made = 0;
    platform.onMkDir = [&](const std::string&) {
        ++made;
        return false;
    };
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(made, 0);
}

TEST_F(BackupStoreTest, OrderIsCopyMessageRemoval) {
    test_support::writeFile(report, "content");
    const std::string destination = store + "/CrashReport_x.json.send_success";
    const StdoutCapture capture;
    std::string shownAtCopy = "not copied";
    const ScopedSeam seam(seams::onRename, [&](const char*, const char* to) {
        if (to == destination) shownAtCopy = capture.text();
        return std::optional<int>();
    });
    std::string shownAtRemoval = "not removed";
    std::string copiedAtRemoval;
    platform.onRm = [&](const std::string& path) {
        if (path != report) return false;
        shownAtRemoval = capture.flushedText();
        copiedAtRemoval = test_support::readFile(destination);
        return true;
    };
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(shownAtCopy, "");
    EXPECT_EQ(shownAtRemoval, movedLine(destination));
    EXPECT_EQ(copiedAtRemoval, "content");
}

TEST_F(BackupStoreTest, ReportIsAnnouncedAndRemovedEvenWhenTheCopyFails) {
    const std::string destination = store + "/CrashReport_x.json.send_success";
    fs::create_directories(destination);  // a directory in the file's place
    test_support::writeFile(report, "content");
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_EQ(capture.flushedText(), movedLine(destination));
    EXPECT_FALSE(fs::exists(report));
    EXPECT_TRUE(fs::is_directory(destination));
}

TEST_F(BackupStoreTest, FullDiskKeepsWhatFitsAlsoInPlaceOfAnEarlierCopy) {
    constexpr rlim_t kRoom = 1000;
    const std::string destination = store + "/CrashReport_x.json.send_fail";
    const std::string content = "new" + std::string(100000, 'x');
    fs::create_directories(store);
    for (const bool earlier : {false, true}) {
        fs::remove(destination);
        if (earlier) test_support::writeFile(destination, std::string(2000, 'o'));
        test_support::writeFile(report, content);
        auto child = ChildProcess::fork([&] {
            signal(SIGXFSZ, SIG_IGN);
            const rlimit limit = {kRoom, kRoom};
            if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
            HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_FAIL);
            return 0;
        });
        EXPECT_EQ(child.wait(), exitedWith(0));
        EXPECT_EQ(child.standardOutput(), movedLine(destination));
        EXPECT_EQ(test_support::readFile(destination), content.substr(0, kRoom));
        EXPECT_EQ(test_support::namesIn(store),
                  std::vector<std::string>{"CrashReport_x.json.send_fail"});
        EXPECT_FALSE(fs::exists(report));
    }
}

TEST_F(BackupStoreTest, OnlyOneLevelOfTheStoreIsMade) {
    platform.fakeAppDataDir = dir / "no/data";
    test_support::writeFile(report, "content");
    const StdoutCapture capture;
    HCrashRptUtils::moveFileToBackupStore(report, HCrashRptSettings::SEND_SUCCESS);
    EXPECT_FALSE(fs::exists(dir / "no"));
    EXPECT_EQ(capture.flushedText(),
              movedLine(dir / "no/data/crashStoreBackup/CrashReport_x.json.send_success"));
    EXPECT_FALSE(fs::exists(report));
}

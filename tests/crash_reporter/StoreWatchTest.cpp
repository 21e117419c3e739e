#include "StoreScene.h"
#include "crash_reporter/StoreWatch.h"

namespace {

namespace fs = std::filesystem;
using crash_reporter::StoreWatch;

class StoreWatchTest : public crash_reporter_test::StoreScene {
  protected:
    StoreWatchTest() { EXPECT_TRUE(watch.follow(store)); }
    StoreWatch watch;
};

TEST_F(StoreWatchTest, RawTracesReportsAndRecordsAreNewsHoweverTheyArrive) {
    for (const char* name :
         {"hs_mangled_err_pid1.log", "CrashReport_1_h_u_t.json", "processRegFile.txt"}) {
        add(name);
        EXPECT_TRUE(watch.takeEvents()) << name;
        EXPECT_FALSE(watch.takeEvents()) << name;
        moveIn(name);
        EXPECT_TRUE(watch.takeEvents()) << name;
    }
    std::ofstream(registrations, std::ios::app) << "record\n";
    EXPECT_TRUE(watch.takeEvents());
}

TEST_F(StoreWatchTest, ReadableLogsAndTemporaryFilesAreNone) {
    for (const char* name : {"hs_err_pid1.log", ".hcrpt-1-abcdef", ".crashcopy_1_1_0", "report"}) {
        add(name);
        moveIn(name);
    }
    EXPECT_FALSE(watch.takeEvents());
}

TEST_F(StoreWatchTest, WhatGoesFromBesideTheDirectoryIsNewsAndWhatIsWrittenThereIsNone) {
    const std::string lock = sessionDirectory + "/reporter.lock";
    test_support::writeFile(lock, "");
    EXPECT_FALSE(watch.takeEvents());
    fs::remove(lock);
    EXPECT_TRUE(watch.takeEvents());
}

TEST_F(StoreWatchTest, AFileThatIsStillWrittenIsNone) {
    std::ofstream half(store + "/hs_mangled_err_pid1.log");
    half << "half" << std::flush;
    EXPECT_FALSE(watch.takeEvents());
    half.close();
    EXPECT_TRUE(watch.takeEvents());
}

TEST_F(StoreWatchTest, TheEndOfTheDirectoryIsNews) {
    EXPECT_TRUE(watch.isInPlace());
    fs::remove_all(store);
    EXPECT_TRUE(watch.takeEvents());
    EXPECT_FALSE(watch.isInPlace());
}

TEST_F(StoreWatchTest, ADirectoryThatWasMovedAwayIsNotInPlaceThoughAnotherIsThere) {
    fs::rename(store, directory / "away");
    fs::create_directory(store);
    EXPECT_TRUE(watch.takeEvents());
    EXPECT_FALSE(watch.isInPlace());
    EXPECT_TRUE(watch.follow(store));
    EXPECT_TRUE(watch.isInPlace());
    add("CrashReport_1");
    EXPECT_TRUE(watch.takeEvents());
}

TEST_F(StoreWatchTest, ADirectoryThatIsNotThereCannotBeFollowed) {
    EXPECT_FALSE(watch.follow(store + "/none"));
    EXPECT_EQ(watch.descriptor(), -1);
    EXPECT_FALSE(watch.isInPlace());
}

}  // namespace

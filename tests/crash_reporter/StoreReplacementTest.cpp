#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "StoreScene.h"
#include "crash_reporter/StoreReplacement.h"
#include "support/TempDir.h"

using crash_reporter::Records;
using crash_reporter::StoreReplacement;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

class StoreReplacementTest : public crash_reporter_test::StoreScene {
  protected:
    StoreReplacementTest() {
        writeFile(registrations, "somehost:1\n");
        writeFile(store + "/hs_mangled_err_pid1.log", "old");
    }
    void makeNewStore() const {
        fs::create_directories(store);
        writeFile(registrations, "");
    }

    const std::string aside = sessionDirectory + "/.crashStore.old";
};

}  // namespace

TEST_F(StoreReplacementTest, WhatHostsPutIntoTheOldStoreMeanwhileGoesOver) {
    const StoreReplacement replacement;
    // A host registers, leaves its facts and crashes; of another one's trace only the beginning is
    // there.
    writeFile(store + "/hs_mangled_err_pid2.log", "new");
    writeFile(store + "/.processfacts_somehost_2", "facts");
    writeFile(store + "/.crashcopy_3_3_1", "half");
    ASSERT_TRUE(replacement.putAside());
    EXPECT_FALSE(fs::exists(store));
    makeNewStore();
    replacement.finish();
    EXPECT_EQ(namesIn(store),
              (std::vector<std::string>{".crashcopy_3_3_1", ".processfacts_somehost_2",
                                        "hs_mangled_err_pid2.log", "processRegFile.txt"}));
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_FALSE(fs::exists(aside));
}

TEST_F(StoreReplacementTest, WhatIsInTheNewStoreAlreadyStays) {
    const StoreReplacement replacement;
    writeFile(store + "/hs_mangled_err_pid2.log", "in the old one");
    ASSERT_TRUE(replacement.putAside());
    makeNewStore();
    writeFile(store + "/hs_mangled_err_pid2.log", "in the new one");
    replacement.finish();
    EXPECT_EQ(readFile(store + "/hs_mangled_err_pid2.log"), "in the new one");
}

TEST_F(StoreReplacementTest, WithoutANewStoreTheOldOneIsKeptAndPutBack) {
    const StoreReplacement replacement;
    ASSERT_TRUE(replacement.putAside());
    replacement.finish();
    EXPECT_EQ(namesIn(aside).size(), 2U);
    EXPECT_EQ(StoreReplacement::undoInterrupted(), Records());
    EXPECT_EQ(readFile(registrations), "somehost:1\n");
    EXPECT_EQ(readFile(store + "/hs_mangled_err_pid1.log"), "old");
    EXPECT_FALSE(fs::exists(aside));
}

TEST_F(StoreReplacementTest, OneThatWasInterruptedBesideANewStoreGoesOverWholly) {
    {
        const StoreReplacement killed;
        ASSERT_TRUE(killed.putAside());
    }
    makeNewStore();
    EXPECT_EQ(StoreReplacement::undoInterrupted(), Records({"somehost:1"}));
    EXPECT_EQ(readFile(store + "/hs_mangled_err_pid1.log"), "old");
    EXPECT_EQ(readFile(registrations), "");
    EXPECT_FALSE(fs::exists(aside));
}

TEST_F(StoreReplacementTest, WithoutAnInterruptedOneNothingHappens) {
    EXPECT_EQ(StoreReplacement::undoInterrupted(), Records());
    EXPECT_EQ(namesIn(store).size(), 2U);
}

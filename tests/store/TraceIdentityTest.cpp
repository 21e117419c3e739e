#include <gtest/gtest.h>

#include <ctime>

#include "store/TraceIdentity.h"
#include "support/TempDir.h"

namespace {

using hcrpt::TraceIdentity;

struct stat someStatus() {
    struct stat status = {};
    status.st_dev = 1;
    status.st_ino = 2;
    status.st_size = 3;
    status.st_mtim = {4, 5};
    status.st_ctim = {6, 7};
    return status;
}

TEST(TraceIdentityTest, EachPartOfItCounts) {
    const TraceIdentity identity(someStatus());
    EXPECT_EQ(identity, TraceIdentity(someStatus()));
    int index = 0;
    for (void (*const change)(struct stat&) : {
             +[](struct stat& s) { ++s.st_dev; },
             +[](struct stat& s) { ++s.st_ino; },
             +[](struct stat& s) { ++s.st_size; },
             +[](struct stat& s) { ++s.st_mtim.tv_sec; },
             +[](struct stat& s) { ++s.st_mtim.tv_nsec; },
             +[](struct stat& s) { ++s.st_ctim.tv_sec; },
             +[](struct stat& s) { ++s.st_ctim.tv_nsec; },
         }) {
        struct stat status = someStatus();
        change(status);
        EXPECT_NE(identity, TraceIdentity(status)) << index;
        ++index;
    }
}

TEST(TraceIdentityTest, AFileSettlesTwoSecondsAfterItsLastChange) {
    struct stat status = someStatus();
    status.st_ctim.tv_sec = std::time(nullptr) - 2;
    EXPECT_TRUE(TraceIdentity(status).isSettled);
    status.st_ctim.tv_sec = std::time(nullptr) + 3600;
    EXPECT_FALSE(TraceIdentity(status).isSettled);
    time_t begin = 0;
    bool settled = true;
    do {  // again where a second ends on the way
        begin = std::time(nullptr);
        status.st_ctim.tv_sec = begin - 1;
        settled = TraceIdentity(status).isSettled;
    } while (std::time(nullptr) != begin);
    EXPECT_FALSE(settled);
}

TEST(TraceIdentityTest, AMissingFileHasNone) {
    const test_support::TempDir directory;
    EXPECT_FALSE(TraceIdentity::of(directory / "none"));
    test_support::writeFile(directory / "file", "1");
    EXPECT_TRUE(TraceIdentity::of(directory / "file"));
}

TEST(TraceIdentityTest, TimesAreComparedBySecondsThenByNanoseconds) {
    EXPECT_TRUE(hcrpt::isBefore({1, 9}, {2, 0}));
    EXPECT_TRUE(hcrpt::isBefore({1, 0}, {1, 1}));
    EXPECT_FALSE(hcrpt::isBefore({1, 1}, {1, 1}));
    EXPECT_FALSE(hcrpt::isBefore({2, 0}, {1, 9}));
}

}  // namespace

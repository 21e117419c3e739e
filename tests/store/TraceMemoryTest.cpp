#include <gtest/gtest.h>

#include <filesystem>

#include "store/TraceMemory.h"
#include "support/TempDir.h"

namespace {

namespace fs = std::filesystem;
using hcrpt::TraceIdentity;
using hcrpt::TraceMemory;
using test_support::writeFile;
using Demangled = TraceMemory::Demangled;

class TraceMemoryTest : public testing::Test {
  protected:
    TraceMemoryTest() {
        writeFile(raw, "raw");
        writeFile(log, "log");
    }
    TraceIdentity identity(bool settled) const {
        TraceIdentity found = *TraceIdentity::of(raw);
        found.isSettled = settled;
        return found;
    }

    const test_support::TempDir directory;
    const std::string raw = directory / "raw";
    const std::string log = directory / "log";
    TraceMemory memory;
};

TEST_F(TraceMemoryTest, ATraceIsUnknownUntilItsLogIsWritten) {
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
    memory.setDemangled(raw, identity(true), log);
    EXPECT_EQ(memory.isDemangled(raw), Demangled::yes);
    EXPECT_EQ(memory.isDemangled(log), Demangled::no);
}

TEST_F(TraceMemoryTest, WhatHadNotSettledIsDemangledProvisionally) {
    memory.setDemangled(raw, identity(false), log);
    EXPECT_EQ(memory.isDemangled(raw), Demangled::provisionally);
    memory.setDemangled(raw, identity(true), log);
    EXPECT_EQ(memory.isDemangled(raw), Demangled::yes);
}

TEST_F(TraceMemoryTest, AChangedTraceOrLogIsNotDemangled) {
    memory.setDemangled(raw, identity(true), log);
    writeFile(log, "other log");
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
    memory.setDemangled(raw, identity(true), log);
    writeFile(raw, "other trace");
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
}

TEST_F(TraceMemoryTest, WithoutItsLogATraceIsNotDemangled) {
    memory.setDemangled(raw, identity(true), log);
    fs::remove(log);
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
    memory.setDemangled(raw, identity(true), log);
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
}

TEST_F(TraceMemoryTest, ATraceIsJudgedAsLongAsItStaysTheSame) {
    EXPECT_FALSE(memory.isJudged(raw, identity(true)));
    memory.setJudged(raw, identity(true));
    EXPECT_TRUE(memory.isJudged(raw, identity(false)));
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
    TraceIdentity other = identity(true);
    ++other.inode;
    EXPECT_FALSE(memory.isJudged(raw, other));
}

TEST_F(TraceMemoryTest, OnlyTracesThatAreStillThereAreRemembered) {
    memory.setDemangled(raw, identity(true), log);
    memory.setJudged("gone", identity(true));
    memory.keepOnly({raw});
    EXPECT_EQ(memory.isDemangled(raw), Demangled::yes);
    EXPECT_FALSE(memory.isJudged("gone", identity(true)));
    memory.keepOnly({});
    EXPECT_EQ(memory.isDemangled(raw), Demangled::no);
}

TEST_F(TraceMemoryTest, TheLibraryHasOne) {
    EXPECT_EQ(&TraceMemory::ofLibrary(), &TraceMemory::ofLibrary());
}

}  // namespace

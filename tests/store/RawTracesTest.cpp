#include <sys/stat.h>

#include <algorithm>

#include "store/RawTraces.h"
#include "support/SessionScene.h"

namespace {

namespace fs = std::filesystem;
using hcrpt::RawTrace;
using RawTracesTest = test_support::SessionScene;

TEST_F(RawTracesTest, TheLogLiesBesideItsTrace) {
    EXPECT_EQ(hcrpt::stackTraceLogOf("/a_mangled_b/hs_mangled_err_pid7.log"),
              "/a_mangled_b/hs_err_pid7.log");
    EXPECT_EQ(hcrpt::stackTraceLogOf("hs_mangled_err_pid7.log"), "hs_err_pid7.log");
}

TEST_F(RawTracesTest, ANameOfTheRightFormHoldsTheProcessId) {
    EXPECT_EQ(hcrpt::processIdOfTrace("hs_mangled_err_pid7.log"), "7");
    EXPECT_EQ(hcrpt::processIdOfTrace("hs_mangled_err_pid123456789.log"), "123456789");
    for (const char* name :
         {"", "hs_mangled_err_pid", "hs_mangled_err_pid.log", "hs_mangled_err_pid7", "x.log",
          "hs_mangled_err_pid7.txt", "hs_mangled_err_pid-7.log", "hs_mangled_err_pid7x.log",
          "hs_mangled_err_pid1234567890.log", "xs_mangled_err_pid7.log"})
        EXPECT_EQ(hcrpt::processIdOfTrace(name), std::nullopt) << name;
}

TEST_F(RawTracesTest, RegularFilesWithNamesOfTheRightFormAreListed) {
    const std::string trace = add("hs_mangled_err_pid7.log");
    add("hs_mangled_err_pidx.log");
    add("hs_err_pid8.log");
    fs::create_symlink(trace, store + "/hs_mangled_err_pid9.log");
    ASSERT_EQ(mkfifo((store + "/hs_mangled_err_pid10.log").c_str(), 0600), 0);
    fs::create_directory(store + "/hs_mangled_err_pid11.log");
    const std::vector<RawTrace> traces = hcrpt::rawTracesInStore();
    ASSERT_EQ(traces.size(), 1U);
    EXPECT_EQ(traces[0].path, trace);
    EXPECT_EQ(traces[0].logPath, store + "/hs_err_pid7.log");
    EXPECT_EQ(traces[0].processId, "7");
    EXPECT_EQ(traces[0].identity, hcrpt::TraceIdentity::of(trace));
    EXPECT_EQ(traces[0].time().tv_nsec, traces[0].identity.modified.tv_nsec);
}

TEST_F(RawTracesTest, WithoutAStoreThereIsNone) {
    fs::remove_all(store);
    EXPECT_TRUE(hcrpt::rawTracesInStore().empty());
}

}  // namespace

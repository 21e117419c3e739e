#include "store/StoreSnapshot.h"
#include "support/SessionScene.h"

namespace {

namespace fs = std::filesystem;
using hcrpt::StoreSnapshot;
using StoreSnapshotTest = test_support::SessionScene;

TEST_F(StoreSnapshotTest, HoldsTracesReportsAndWhetherThereAreRegistrations) {
    const std::string trace = add("hs_mangled_err_pid7.log");
    const std::string odd = add("hs_mangled_err_pidx");
    const std::string one = add("CrashReport_1.json");
    const std::string other = add("CrashReport_2.json");
    add("hs_err_pid7.log");
    add(".hcrpt-1-XXXXXX");
    add("processRegFile.txt.old");
    fs::create_directory(store + "/CrashReport_directory");
    fs::create_symlink("nowhere", store + "/hs_mangled_err_pid8.log");

    StoreSnapshot snapshot = StoreSnapshot::take();
    ASSERT_EQ(snapshot.rawTraces.size(), 2U);
    if (snapshot.rawTraces[0].path != trace)
        std::swap(snapshot.rawTraces[0], snapshot.rawTraces[1]);
    EXPECT_EQ(snapshot.rawTraces[0].path, trace);
    EXPECT_EQ(snapshot.rawTraces[0].logPath, store + "/hs_err_pid7.log");
    EXPECT_EQ(snapshot.rawTraces[0].identity, hcrpt::TraceIdentity::of(trace));
    EXPECT_EQ(snapshot.rawTraces[1].path, odd);
    EXPECT_EQ(snapshot.reports, (std::set<std::string>{one, other}));
    EXPECT_FALSE(snapshot.hasRegistrations);
    add("processRegFile.txt");
    EXPECT_TRUE(StoreSnapshot::take().hasRegistrations);
}

TEST_F(StoreSnapshotTest, IsEmptyWithoutAStore) {
    fs::remove_all(store);
    const StoreSnapshot snapshot = StoreSnapshot::take();
    EXPECT_TRUE(snapshot.rawTraces.empty());
    EXPECT_TRUE(snapshot.reports.empty());
    EXPECT_FALSE(snapshot.hasRegistrations);
}

}  // namespace

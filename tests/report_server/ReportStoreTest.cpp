#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "report_server/ReportStore.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace report_server {
namespace {

using namespace test_support;

TEST(ReportStoreTest, TheFileHoldsTheContentUnderAStampedName) {
    TempDir dir;
    const std::string content("a\0b\r\n\xff", 6);
    const StoreResult result = storeReport(dir.path(), "r.json", content);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{result.name});
    EXPECT_EQ(result.name.substr(result.name.find('-')), "-r.json");
    EXPECT_EQ(readFile(dir / result.name), content);
}

TEST(ReportStoreTest, OnlyTheOwnerMayRead) {
    TempDir dir;
    const StoreResult result = storeReport(dir.path(), "r", "x");
    struct stat status = {};
    ASSERT_EQ(stat((dir / result.name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0600u);
}

TEST(ReportStoreTest, ReportsOfOneNameNeverReplaceEachOther) {
    TempDir dir;
    std::vector<std::string> names;
    for (int i = 0; i < 50; ++i)
        names.push_back(storeReport(dir.path(), "r", std::to_string(i)).name);
    EXPECT_EQ(namesIn(dir.path()), names) << "each of its own and in the order of arrival";
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(readFile(dir / names[static_cast<std::size_t>(i)]), std::to_string(i));
}

std::string slowClock() {
    static int calls = 0;
    return calls++ < 3 ? "T1" : "T2";
}

TEST(ReportStoreTest, ReportsOfOneNameAndOneMomentNeverReplaceEachOther) {
    TempDir dir;
    EXPECT_EQ(storeReport(dir.path(), "r", "first", slowClock).name, "T1-r");
    EXPECT_EQ(storeReport(dir.path(), "r", "second", slowClock).name, "T2-r");
    EXPECT_EQ(readFile(dir / "T1-r"), "first");
    EXPECT_EQ(readFile(dir / "T2-r"), "second");
    EXPECT_EQ(namesIn(dir.path()).size(), 2u) << "nothing temporary";
}

TEST(ReportStoreTest, APathFromTheClientStaysInTheStore) {
    TempDir dir;
    const StoreResult result = storeReport(dir.path(), "../../../tmp/x/../.evil", "x");
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{result.name});
    EXPECT_EQ(result.name.substr(result.name.find('-')), "-evil");
}

TEST(ReportStoreTest, AnEmptyReportIsStored) {
    TempDir dir;
    const StoreResult result = storeReport(dir.path(), "r", "");
    ASSERT_NE(result.name, "");
    EXPECT_EQ(readFile(dir / result.name), "");
}

TEST(ReportStoreTest, AStoreThatIsMissingOrAFileIsAnError) {
    TempDir dir;
    writeFile(dir / "file", "");
    for (const std::string& store : {dir / "missing", dir / "file"}) {
        const StoreResult result = storeReport(store, "r", "x");
        EXPECT_EQ(result.name, "");
        EXPECT_NE(result.error.find(store), std::string::npos) << result.error;
    }
    EXPECT_EQ(storeReport("", "r", "x").error, "no store is configured");
}

TEST(ReportStoreTest, AReportThatDoesNotFitLeavesNothing) {
    TempDir dir;
    ChildProcess child = ChildProcess::fork([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {1000, 1000};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 2;
        const StoreResult result = storeReport(dir.path(), "r", std::string(2000, 'x'));
        return result.name.empty() && !result.error.empty() ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

}  // namespace
}  // namespace report_server

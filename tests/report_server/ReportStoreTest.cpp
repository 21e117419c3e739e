#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "report_server/ReportStore.h"
#include "support/ChildProcess.h"
#include "support/LinkSeams.h"
#include "support/ScopedFault.h"
#include "support/TempDir.h"

namespace report_server {
namespace {

using namespace test_support;

TEST(ReportStoreTest, TheFileHoldsTheContentUnderAStampedName) {
    TempDir dir;
    const std::string content("a\0b\r\n\xff", 6);
    const StoreResult result = storeReport(dir.path(), "r.json", content);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{result.name.value()});
    EXPECT_EQ(result.name->substr(result.name->find('-')), "-r.json");
    EXPECT_EQ(readFile(dir / result.name.value()), content);
}

TEST(ReportStoreTest, OnlyTheOwnerMayRead) {
    TempDir dir;
    const StoreResult result = storeReport(dir.path(), "r", "x");
    EXPECT_EQ(test_support::modeOf(dir / result.name.value()), 0600u);
}

TEST(ReportStoreTest, ReportsOfOneNameNeverReplaceEachOther) {
    TempDir dir;
    std::vector<std::string> names;
    for (int i = 0; i < 50; ++i)
        names.push_back(storeReport(dir.path(), "r", std::to_string(i)).name.value());
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
    EXPECT_EQ(namesIn(dir.path()), std::vector<std::string>{result.name.value()});
    EXPECT_EQ(result.name->substr(result.name->find('-')), "-evil");
}

TEST(ReportStoreTest, AnEmptyReportIsStored) {
    TempDir dir;
    const StoreResult result = storeReport(dir.path(), "r", "");
    ASSERT_TRUE(result.name);
    EXPECT_EQ(readFile(dir / result.name.value()), "");
}

TEST(ReportStoreTest, WritesThatAreShortOrInterruptedStoreTheWholeReport) {
    TempDir dir;
    bool isInterrupted = false;
    const seams::ScopedSeam seam(
        seams::onWrite, [&](int fd, const void* data, std::size_t) -> std::optional<ssize_t> {
            isInterrupted = !isInterrupted;
            if (!isInterrupted) return syscall(SYS_write, fd, data, 1);
            errno = EINTR;
            return -1;
        });
    EXPECT_EQ(readFile(dir / storeReport(dir.path(), "r", "content").name.value()), "content");
}

TEST(ReportStoreTest, AReportThatCannotBeWrittenOrSyncedIsAnErrorAndLeavesNothing) {
    TempDir dir;
    const auto expectError = [&](const std::string& error) {
        const StoreResult result = storeReport(dir.path(), "r", "content");
        EXPECT_EQ(result.name, std::nullopt);
        EXPECT_EQ(result.error, error + dir.path() + ": Input/output error");
        EXPECT_TRUE(namesIn(dir.path()).empty()) << error;
    };
    const auto fails = [](auto...) {
        errno = EIO;
        return -1;
    };
    {
        const seams::ScopedSeam seam(seams::onWrite, fails);
        expectError("cannot store in ");
    }
    for (const int failing : {1, 2}) {  // the report's, then the directory's
        int syncs = 0;
        const seams::ScopedSeam seam(seams::onFsync, [&](int) {
            errno = EIO;
            return ++syncs == failing ? std::optional<int>(-1) : std::nullopt;
        });
        expectError(failing == 1 ? "cannot store in " : "cannot sync ");
    }
}

TEST(ReportStoreTest, AStoreThatIsMissingOrAFileIsAnError) {
    TempDir dir;
    writeFile(dir / "file", "");
    for (const std::string& store : {dir / "missing", dir / "file"}) {
        const StoreResult result = storeReport(store, "r", "x");
        EXPECT_EQ(result.name, std::nullopt);
        EXPECT_EQ(result.error.rfind("cannot make " + store + "/.incoming-", 0), 0U)
            << result.error;
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
        return !result.name && !result.error.empty() ? 0 : 1;
    });
    EXPECT_EQ(child.wait(), exitedWith(0));
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

TEST(ReportStoreTest, AReportThatTheDiskLosesWhenItIsClosedIsRefused) {
    TempDir dir;
    const ScopedFault lost(seams::onClose, EIO);
    const StoreResult result = storeReport(dir.path(), "r", "content");
    EXPECT_EQ(lost.met(), 1);
    EXPECT_EQ(result.name, std::nullopt);
    EXPECT_EQ(result.error, "cannot store in " + dir.path() + ": " + std::strerror(EIO));
    EXPECT_TRUE(namesIn(dir.path()).empty());
}

}  // namespace
}  // namespace report_server

// Each case needs a process of its own: paths and arena are fixed once. CTest gives it that.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "capture/CrashScene.h"
#include "capture/CrashStack.h"
#include "capture/Watchdog.h"
#include "hcrpt/HCrashCapture.h"
#include "support/ChildProcess.h"
#include "support/CrashArena.h"
#include "support/LinkSeams.h"
#include "support/ScopedEnvVar.h"
#include "support/StdoutCapture.h"

using namespace HCrashReporter;
using namespace test_support;

namespace {

const std::string kLog =
    "#\n# An unexpected error has occurred (11)\n#\nStack:\n"
    "libzeb_solver.so(Solver::step()+0x1f) [0x7f01]\n\n";

using Names = std::vector<std::string>;

const Names kPopulated = {
    "timestamp",   "programName", "productVersion",   "buildNumber",       "buildDate",
    "commandLine", "testcase",    "totalMemoryUsage", "memoryUtilization", "cpuUtilization",
    "osInfo",      "cpuInfo",     "memInfo"};
const Names kOfTheTrace = {"subSystem", "functionName", "stacktrace"};

Names operator+(Names first, const Names& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

rapidjson::Document parsed(const std::string& path) {
    rapidjson::Document document;
    document.Parse(readFile(path).c_str());
    EXPECT_FALSE(document.HasParseError()) << path;
    return document;
}

Names namesOf(const rapidjson::Document& document) {
    Names names;
    if (document.IsObject())
        for (const auto& member : document.GetObject()) names.push_back(member.name.GetString());
    return names;
}

TEST(CrashReportTest, BeforeTheResourcesExistThereIsOnlyAMessage) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    const StdoutCapture capture;
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_EQ("Could not generate crash report log as no stack trace could be written\n",
              capture.flushedText());
    EXPECT_EQ("", scene.report());
}

TEST(CrashReportTest, TheReportHoldsFactsTraceAndDumpInOrder) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    writeFile(HCrashRptSettings::getGuiStrDumpFileName(), "button pressed\n");
    HCrptExceptionHandlerBase::get("");
    const StdoutCapture capture;
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_EQ("", capture.text());
    EXPECT_EQ(scene.store() + "/CrashReport_4242_testhost_tester_20261121T054733.json",
              scene.report());
    const rapidjson::Document report = parsed(scene.report());
    EXPECT_EQ(kPopulated + Names{"signalNumber"} + kOfTheTrace + Names{"GuiStrDump"},
              namesOf(report));
    EXPECT_STREQ("11", report["signalNumber"].GetString());
    EXPECT_STREQ("solver", report["subSystem"].GetString());
    EXPECT_STREQ("Solver::step()", report["functionName"].GetString());
}

TEST(CrashReportTest, WithoutAReadableLogTheFactsStillGoOut) {
    const CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_EQ(kPopulated, namesOf(parsed(scene.report())));
}

TEST(CrashReportTest, AFailedProbeKeepsTheFactsSoFarAndTheTraceIsAppended) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    HCrptExceptionHandlerBase::get("");
    const seams::ScopedSeam failing(seams::onPopen, [](const char*) {
        errno = EMFILE;
        return static_cast<FILE*>(nullptr);
    });
    EXPECT_NO_THROW(HCrptExceptionHandlerBase::writeCrashReport());
    const Names before(kPopulated.begin(), kPopulated.begin() + 7);  // up to the first command
    EXPECT_EQ(before + Names{"signalNumber"} + kOfTheTrace, namesOf(parsed(scene.report())));
}

TEST(CrashReportTest, AMissingStoreIsMade) {
    const CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    ASSERT_FALSE(std::filesystem::exists(scene.store()));
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_NE("", scene.report());
}

TEST(CrashReportTest, TheReportGoesToTheStoreOfTheCrash) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    HCrptExceptionHandlerBase::get("");
    const test_support::ScopedEnvVar session("ZEB_SESSION_INFO", scene.work() + ":later");
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_EQ("", scene.report());
    const std::string store = scene.work() + "/.crashReporter/later/crashStore";
    const Names names = test_support::namesIn(store);
    ASSERT_EQ(1U, names.size());
    EXPECT_EQ(kPopulated + Names{"signalNumber"} + kOfTheTrace,
              namesOf(parsed(store + "/" + names[0])))
        << "the log's place was fixed at the start";
}

TEST(CrashReportTest, WithoutAStoreThereIsAMessage) {
    CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    scene.makeStoreImpossible();
    const StdoutCapture capture;
    HCrptExceptionHandlerBase::writeCrashReport();
    EXPECT_EQ("[Crash Reporter] Error: Could not create crash store at: " + scene.store() +
                  " Please check folder path exists or has write permission.\n"
                  "[Crash Reporter] Could not create crash log in the absence of a crashStore\n",
              capture.flushedText());
    EXPECT_FALSE(std::filesystem::exists(scene.store()));
}

TEST(CrashReportTest, AnExhaustedArenaGivesAnEmptyReport) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    test_support::leaveInArena(0);
    HCrptExceptionHandlerBase::writeCrashReport();
    const rapidjson::Document report = parsed(scene.report());
    ASSERT_TRUE(report.IsObject());
    EXPECT_EQ(Names(), namesOf(report));
}

TEST(CrashReportTest, AnArenaThatIsExhaustedMidwayGivesAShorterReport) {
    const CrashScene scene;
    scene.writeStackTraceLog(kLog);
    test_support::leaveInArena(500);
    HCrptExceptionHandlerBase::writeCrashReport();
    const Names names = namesOf(parsed(scene.report()));
    ASSERT_FALSE(names.empty());
    EXPECT_LT(names.size(), kPopulated.size());
    EXPECT_EQ("timestamp", names.front());
}

TEST(CrashReportTest, TheReportIsWrittenApartFromTheStackOfTheSignal) {
    CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    std::uintptr_t frame = 0;
    scene.platform.onIsWriteable = [&](const std::string&) {
        frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
        return true;
    };
    HCrptExceptionHandlerBase::writeCrashReport();
    ASSERT_NE(0U, frame);
    const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    EXPECT_GT(std::max(here, frame) - std::min(here, frame), hcrpt::CrashStack::kSize);
}

TEST(CrashReportTest, AProbeThatHangsIsBoundedTo60Seconds) {
    const CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    ChildProcess child = ChildProcess::fork([] {
        hcrpt::Watchdog::enable(1);
        hcrpt::Watchdog::set(hcrpt::Watchdog::kCopies);  // the stretch before
        long left = 0;
        const seams::ScopedSeam seam(seams::onPopen, [&](const char*) {
            left = hcrpt::Watchdog::secondsLeft();
            return std::nullopt;
        });
        HCrptExceptionHandlerBase::writeCrashReport();
        return left > 20 && left <= 60 ? 0 : 2;
    });
    EXPECT_EQ(exitedWith(0), child.wait());
}

TEST(CrashReportTest, NoExceptionLeavesIt) {
    CrashScene scene;
    HCrptExceptionHandlerBase::get("");
    int calls = 0;
    scene.platform.onExists = [&](const std::string&) -> bool {
        ++calls;
        throw std::bad_alloc();
    };
    EXPECT_NO_THROW(HCrptExceptionHandlerBase::writeCrashReport());
    EXPECT_GT(calls, 0);
}

}  // namespace

// Children of one registration that crash at once, or one after another.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "crash/CrashScene.h"
#include "crash/Expectations.h"
#include "crash/programs/Failing.h"

namespace fs = std::filesystem;
using crash_test::CrashScene;
using crash_test::Outcome;
using test_support::ChildProcess;
using test_support::eventually;
using test_support::exitedWith;
using test_support::readFile;

namespace {

std::string workerName(int number) {
    return "void zeb::failing::worker<" + std::to_string(number) + ">()";
}

class SiblingTest : public testing::Test {
  protected:
    /// Texts of all reports in either store, by their names.
    std::map<std::string, std::string> reports() const {
        std::map<std::string, std::string> texts;
        for (const std::string& directory : {scene.store, scene.backup}) {
            std::error_code none;
            for (const auto& entry : fs::directory_iterator(directory, none)) {
                const std::string name = entry.path().filename();
                // A report that is being filed lies in both stores.
                if (name.rfind("CrashReport_", 0) == 0)
                    texts[name.substr(0, name.find(".json"))] = readFile(entry.path());
            }
        }
        return texts;
    }
    /// The workers whose frames the text shows.
    static std::set<std::string> workersIn(const std::string& text) {
        static const std::regex kFrame("void zeb::failing::worker<[0-9]>\\(\\)(?=\\+0x)");
        return {std::sregex_token_iterator(text.begin(), text.end(), kFrame), {}};
    }
    static bool namesFunction(const std::string& report, const std::string& function) {
        return report.find("\"functionName\": \"" + function + "\"") != std::string::npos;
    }

    CrashScene scene;
};

TEST_F(SiblingTest, ChildrenThatCrashAtOnceLeaveAReportEachWithTheirOwnStack) {
    const Outcome outcome = scene.run("forked-crowd");
    EXPECT_EQ(exitedWith(zeb::failing::kWorkers), outcome.end) << "not all ended by their signal";
    std::set<std::string> reported;
    for (const auto& [name, text] : reports()) {
        const std::set<std::string> shown = workersIn(text);
        ASSERT_EQ(1U, shown.size()) << name << " shows " << testing::PrintToString(shown);
        EXPECT_TRUE(namesFunction(text, *shown.begin())) << text;
        reported.insert(*shown.begin());
    }
    for (int number = 0; number < zeb::failing::kWorkers; ++number)
        EXPECT_EQ(1U, reported.count(workerName(number))) << workerName(number);
    EXPECT_EQ(static_cast<std::size_t>(zeb::failing::kWorkers), reports().size());
}

TEST_F(SiblingTest, AKilledSiblingsTraceIsKeptAndReportedUnderItsOwnId) {
    scene.atFailure = [this](ChildProcess& host) {
        const std::string copy = scene.tracePath(host.pid());
        scene.signalReporter(SIGSTOP);
        EXPECT_TRUE(eventually([&] { return fs::exists(copy); }));
        test_support::writeFile(scene.work + "/kill-the-first", "");
        scene.signalReporter(SIGCONT);
        test_support::writeFile(scene.work + "/fail-the-second", "");
    };
    scene.run("killed-sibling");
    EXPECT_TRUE(eventually([this] { return reports().size() >= 2; }))
        << testing::PrintToString(scene.reportNames());
    std::map<std::string, bool> recovered;  // by worker
    for (const auto& [name, text] : reports())
        for (const std::string& worker : workersIn(text))
            recovered[worker] = text.find("\"writtenBy\"") != std::string::npos;
    const std::map<std::string, bool> expected = {{workerName(0), true}, {workerName(1), false}};
    EXPECT_EQ(expected, recovered);
}

}  // namespace

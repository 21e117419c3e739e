#include "crash/CrashScene.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "HUTEnv.h"
#include "support/SessionProgram.h"

namespace crash_test {
namespace {

namespace fs = std::filesystem;
using namespace test_support;
using Clock = std::chrono::steady_clock;

constexpr char kProgramDirectory[] = "/bin/unwrapped/lnx64.o";

/// Where it is set, each death adds a line to that file.
constexpr char kMatrixVariable[] = "CRASH_MATRIX_FILE";

/// Paths of the reports in both stores.
std::vector<fs::path> reportsIn(const std::vector<std::string>& directories) {
    std::vector<fs::path> reports;
    for (const std::string& directory : directories) {
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(directory, none))
            if (entry.path().filename().string().rfind("CrashReport_", 0) == 0)
                reports.push_back(entry.path());
    }
    return reports;
}

long millisecondsSince(Clock::time_point start) {
    const auto passed = Clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

}  // namespace

CrashScene::CrashScene() : Session("work"), environment(Session::environment()) {
    // An installation without the upload tool: reports are kept, and nobody is asked for anything.
    fs::create_directories(m_root + kProgramDirectory);
    fs::create_symlink(std::string(INSTALLATION_ROOT) + kProgramDirectory + "/crash_reporter",
                       m_root + kProgramDirectory + "/crash_reporter");
    environment["HUT_APP_ROOT"] = m_root;
}

CrashScene::~CrashScene() {
    // A stopped one would not be waited for in vain: SIGKILL ends it as well.
    if (m_reporter) {
        m_reporter->signal(SIGKILL);
        m_reporter->wait();
    }
}

void CrashScene::startReporter() {
    // This process is registered, too, so the crash reporter stays.
    makeStore();
    std::ofstream(registrations, std::ios::app) << HUTEnv::getHostName() << ':' << getpid() << '\n';
    m_reporter.emplace(test_support::startProgram(
        *this, m_root + kProgramDirectory + "/crash_reporter", {}, environment, nullptr));
}

void CrashScene::signalReporter(int number) const {
    m_reporter->signal(number);
}

void CrashScene::restartReporter() {
    signalReporter(SIGKILL);
    m_reporter->wait();
    startReporter();
}

void CrashScene::awaitPass() const {
    // An empty report is removed early in a pass: once two are gone, the pass of the first is over.
    for (const char* name : {"/CrashReport_first", "/CrashReport_second"}) {
        test_support::writeFile(store + name, "");
        EXPECT_TRUE(test_support::eventually([&] { return !fs::exists(store + name); }));
    }
}

std::vector<std::string> CrashScene::reportNames() const {
    std::vector<std::string> names;
    for (const fs::path& report : reportsIn({store, backup})) names.push_back(report.filename());
    return names;
}

Outcome CrashScene::run(const std::string& scenario) {
    if (reporter == Reporter::serves) startReporter();
    ChildProcess host = test_support::startProgram(
        *this, CRASH_SCENARIOS, {CRASH_SCENARIOS, scenario}, environment, preparation);

    const std::string id = std::to_string(host.pid());
    const std::string copy = tracePath(host.pid());
    Outcome outcome;
    outcome.pid = host.pid();
    EXPECT_TRUE(
        test_support::eventually([&] { return fs::exists(work + "/failing") || host.hasEnded(); }));
    EXPECT_TRUE(fs::exists(work + "/failing")) << host.standardError();
    const auto failure = Clock::now();
    if (atFailure) atFailure(host);
    EXPECT_TRUE(test_support::eventually(
        [&] {
            if (outcome.toCopy < 0 && fs::exists(copy)) {
                outcome.toCopy = millisecondsSince(failure);
                if (reporter == Reporter::comesLater) startReporter();
            }
            return host.hasEnded();
        },
        deadline))
        << "has not ended in time";
    outcome.toEnd = millisecondsSince(failure);
    outcome.end = host.wait(std::chrono::milliseconds(0));
    outcome.rawTrace = contentIfAny(work + "/hs_mangled_err_pid" + id + ".log");
    outcome.copy = contentIfAny(copy);
    outcome.log = contentIfAny(stackTraceLog(id));
    findReport(outcome);
    if (awaitReport) {
        EXPECT_TRUE(test_support::eventually([&] {
            findReport(outcome);
            return !outcome.report.empty();
        })) << "the crash reporter writes no report";
        outcome.log = contentIfAny(stackTraceLog(id));
    }
    outcome.output = host.standardOutput();
    outcome.allocatorCalls = contentIfAny(work + "/allocator-calls");
    writeMatrixLine(scenario, outcome);
    return outcome;
}

void CrashScene::findReport(Outcome& outcome) const {
    // Filing a report moves it. It is looked for again in case it was on its way.
    for (int look = 0; look < 2 && outcome.report.empty(); ++look) {
        for (const fs::path& report : reportsIn({store, backup})) {
            outcome.report = contentIfAny(report);
            outcome.reportName = report.filename();
            if (!outcome.report.empty()) break;
        }
    }
}

void CrashScene::writeMatrixLine(const std::string& scenario, const Outcome& outcome) const {
    const char* const path = std::getenv(kMatrixVariable);
    if (path == nullptr) return;
    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    const auto yes = [](const std::string& text) { return text.empty() ? "–" : "yes"; };
    const bool inPlace = outcome.report.find("\"writtenBy\"") != std::string::npos;
    const auto named = [](const std::string& text) {
        const bool library = text.find("libzeb_failing.so") != std::string::npos;
        const bool function = text.find("zeb::failing::") != std::string::npos ||
                              text.find("_ZN3zeb7failing") != std::string::npos;
        return function ? "both" : library ? "library" : "–";
    };
    const auto time = [](long milliseconds) {
        return milliseconds < 0 ? std::string("–") : std::to_string(milliseconds);
    };
    std::ostringstream line;
    // Cases of a table have the row's name behind a slash.
    const std::string name = test->name();
    line << "| " << name.substr(name.rfind('/') + 1) << " | `" << scenario << "` | " << outcome.end
         << " | " << yes(outcome.rawTrace) << " | " << yes(outcome.copy) << " | "
         << yes(outcome.log) << " | " << (inPlace ? "reporter" : yes(outcome.report)) << " | "
         << named(outcome.report.empty() ? outcome.rawTrace : outcome.report) << " | "
         << time(outcome.toCopy) << " | " << time(outcome.toEnd) << " |\n";
    std::ofstream(path, std::ios::app) << line.str();
}

}  // namespace crash_test

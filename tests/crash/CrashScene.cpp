#include "crash/CrashScene.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

#include "HUTEnv.h"

namespace crash_test {
namespace {

namespace fs = std::filesystem;
using test_support::ChildProcess;
using Clock = std::chrono::steady_clock;

constexpr char kProgramDirectory[] = "/bin/unwrapped/lnx64.o";

/// Where it is set, each death adds a line to that file.
constexpr char kMatrixVariable[] = "CRASH_MATRIX_FILE";

std::string contentIfAny(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

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

void use(const std::map<std::string, std::string>& environment) {
    for (const char* name : {"CRPT_OFF", "CRPT_ALREADY_RUNNING", "LD_LIBRARY_PATH", "LD_PRELOAD"})
        unsetenv(name);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
}

ChildProcess start(const std::string& program, const std::string& argument,
                   const std::string& directory,
                   const std::map<std::string, std::string>& environment,
                   const std::function<void()>& preparation) {
    return ChildProcess::fork([&] {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // not even a test that is killed leaves it behind
        use(environment);
        if (chdir(directory.c_str()) != 0) return 126;
        if (preparation) preparation();
        execl(program.c_str(), program.c_str(), argument.empty() ? nullptr : argument.c_str(),
              nullptr);
        return 127;
    });
}

long millisecondsSince(Clock::time_point start) {
    const auto passed = Clock::now() - start;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

}  // namespace

CrashScene::CrashScene() {
    for (const char* name : {"work", "appdata", "tmp", "root"})
        fs::create_directory(directory / name);
    // An installation without the upload tool: reports are kept, and nobody is asked for anything.
    fs::create_directories(m_root + kProgramDirectory);
    fs::create_symlink(std::string(INSTALLATION_ROOT) + kProgramDirectory + "/crash_reporter",
                       m_root + kProgramDirectory + "/crash_reporter");
    environment = {
        {"ZEB_SESSION_INFO", work + ":1"},  {"HUT_INSIDE_NETWORK", "true"},
        {"HUT_APP_ROOT", m_root},           {"HUT_APP_DATA_DIR", directory / "appdata"},
        {"HUT_TMP_DIR", directory / "tmp"}, {"HUT_DATA_DIR", directory / "tmp"},
    };
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
    fs::create_directories(store);
    std::ofstream(store + "/processRegFile.txt", std::ios::app)
        << HUTEnv::getHostName() << ':' << getpid() << '\n';
    m_reporter.emplace(
        start(m_root + kProgramDirectory + "/crash_reporter", "", work, environment, nullptr));
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

std::string CrashScene::tracePath(pid_t pid) const {
    return store + "/hs_mangled_err_pid" + std::to_string(pid) + ".log";
}

Outcome CrashScene::run(const std::string& scenario) {
    if (reporter == Reporter::serves) startReporter();
    ChildProcess host = start(CRASH_SCENARIOS, scenario, work, environment, preparation);

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
    outcome.log = contentIfAny(store + "/hs_err_pid" + id + ".log");
    findReport(outcome);
    if (awaitReport) {
        EXPECT_TRUE(test_support::eventually([&] {
            findReport(outcome);
            return !outcome.report.empty();
        })) << "the crash reporter writes no report";
        outcome.log = contentIfAny(store + "/hs_err_pid" + id + ".log");
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

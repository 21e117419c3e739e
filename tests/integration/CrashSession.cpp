#include "integration/CrashSession.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "HUTEnv.h"

namespace integration_test {
namespace {

namespace fs = std::filesystem;
using test_support::ChildProcess;
using test_support::ExitState;
using test_support::isRunning;
using test_support::namesIn;
using test_support::readFile;
using test_support::writeFile;

/// All waits of a case together. CTest's patience is longer, so a case that fails still cleans up.
constexpr std::chrono::seconds kPatience{50};
constexpr char kProgramDirectory[] = "/bin/unwrapped/lnx64.o";
constexpr char kReporter[] = "crash_reporter";

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

std::vector<std::string> namesWithPrefix(const std::string& path, const std::string& prefix) {
    std::vector<std::string> names;
    if (!fs::is_directory(path)) return names;
    for (const std::string& name : namesIn(path))
        if (startsWith(name, prefix)) names.push_back(name);
    return names;
}

/// Content of a file that may vanish at any time; then it is empty.
std::string contentIfAny(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool isAsleep(pid_t pid) {
    const std::string status = contentIfAny("/proc/" + std::to_string(pid) + "/status");
    return status.find("\nState:\tS") != std::string::npos;
}

void reap(pid_t pid) {
    // A process that is not (yet) ours to wait for is watched instead.
    test_support::eventually([pid] {
        const pid_t got = waitpid(pid, nullptr, WNOHANG);
        return got == pid || (got < 0 && !isRunning(pid));
    });
}

}  // namespace

CrashSession::CrashSession()
    : m_deadline(std::chrono::steady_clock::now() + kPatience), m_root(INSTALLATION_ROOT) {
    for (const char* name : {"work", "appdata", "tmp"}) fs::create_directory(directory / name);
    fs::create_directories(directory / "data/telemon");
    environment = {
        {"ZEB_SESSION_INFO", work + ":1"},  {"HUT_INSIDE_NETWORK", "true"},
        {"HUT_APP_ROOT", m_root},           {"HUT_APP_DATA_DIR", directory / "appdata"},
        {"HUT_TMP_DIR", directory / "tmp"}, {"HUT_DATA_DIR", directory / "data"},
    };
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

CrashSession::~CrashSession() {
    killAll();
}

// --- Before the start ---------------------------------------------------------------------------

void CrashSession::trust(const std::string& ca) {
    fs::copy_file(ca, caFile, fs::copy_options::overwrite_existing);
}

void CrashSession::sendTo(const test_support::ReportServer& server) {
    trust(server.caFile());
    environment["VELCURL_CONNECT_TO"] = server.connectTo();
}

void CrashSession::useOwnInstallation() {
    if (m_root != INSTALLATION_ROOT) return;
    m_root = directory / "root";
    fs::create_directories(m_root + kProgramDirectory);
    // Through a link a program still finds its libraries, beside the real file.
    for (const char* name : {kReporter, "velcurl"})
        fs::create_symlink(std::string(INSTALLATION_ROOT) + kProgramDirectory + "/" + name,
                           program(name));
    environment["HUT_APP_ROOT"] = m_root;
}

void CrashSession::removeProgram(const std::string& name) {
    useOwnInstallation();
    EXPECT_TRUE(fs::remove(program(name)));
}

void CrashSession::replaceProgram(const std::string& name, const std::string& script) {
    removeProgram(name);
    writeFile(program(name), script);
    fs::permissions(program(name), fs::perms::owner_all);
}

std::string CrashSession::program(const std::string& name) const {
    return m_root + kProgramDirectory + "/" + name;
}

void CrashSession::writeRegistrations(const std::string& records) {
    fs::create_directories(store);
    writeFile(registrations, records);
}

std::string CrashSession::addReport(const std::string& name, const std::string& content) {
    fs::create_directories(store);
    // A report appears whole: an empty one would be removed.
    const std::string path = store + "/" + name;
    writeFile(directory / name, content);
    fs::rename(directory / name, path);
    return path;
}

// --- Processes ----------------------------------------------------------------------------------

ChildProcess CrashSession::start(const std::string& path, const std::vector<std::string>& arguments,
                                 const std::function<void()>& preparation) const {
    return ChildProcess::fork([&] {
        // Not even a test process that is killed leaves it behind.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (const char* name :
             {"CRPT_OFF", "CRPT_ALREADY_RUNNING", "VELCURL_CURL", "VELCURL_MAX_TIME",
              "VELCURL_CONNECT_TO", "LD_LIBRARY_PATH", "LD_PRELOAD"})
            unsetenv(name);
        for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
        if (chdir(work.c_str()) != 0) return 126;
        std::vector<char*> vector;
        for (const std::string& argument : arguments)
            vector.push_back(const_cast<char*>(argument.c_str()));
        vector.push_back(nullptr);
        if (preparation) preparation();
        execv(path.c_str(), vector.data());
        return 127;
    });
}

ChildProcess CrashSession::startHost(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"example_host"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return start(std::string(INSTALLATION_ROOT) + kProgramDirectory + "/example_host", all,
                 nullptr);
}

ChildProcess CrashSession::startReporter(const std::function<void()>& preparation) {
    return start(program(kReporter), {}, preparation);
}

pid_t CrashSession::reporterPid() {
    const bool found = eventually([this] { return !logNames().empty(); });
    const std::vector<std::string> names = logNames();
    EXPECT_TRUE(found) << "no crash reporter has started";
    EXPECT_LE(names.size(), 1U) << "several crash reporters have started";
    if (!found) return -1;
    return static_cast<pid_t>(std::stol(names.front().substr(std::string("crashReporter").size())));
}

ExitState CrashSession::waitForReporter(pid_t pid) {
    int status = 0;
    if (!eventually([&] { return waitpid(pid, &status, WNOHANG) == pid; })) {
        ADD_FAILURE() << "crash reporter " << pid << " has not left";
        return {};
    }
    return WIFEXITED(status) ? test_support::exitedWith(WEXITSTATUS(status))
                             : test_support::killedBy(WTERMSIG(status));
}

std::vector<pid_t> CrashSession::processes() const {
    const std::string mark = "ZEB_SESSION_INFO=" + work + ":1";
    std::vector<pid_t> pids;
    for (const std::string& name : namesIn("/proc")) {
        if (name.find_first_not_of("0123456789") != std::string::npos) continue;
        const std::string all = '\0' + contentIfAny("/proc/" + name + "/environ");
        if (all.find('\0' + mark + '\0') != std::string::npos)
            pids.push_back(static_cast<pid_t>(std::stol(name)));
    }
    return pids;
}

void CrashSession::killAll() const {
    // Again, since one of them may just have started another.
    for (std::vector<pid_t> left = processes(); !left.empty(); left = processes()) {
        for (const pid_t pid : left) kill(pid, SIGKILL);
        for (const pid_t pid : left) reap(pid);
    }
}

// --- What is there ------------------------------------------------------------------------------

std::string CrashSession::recordOf(pid_t pid) {
    return HUTEnv::getHostName() + ":" + std::to_string(pid);
}

std::string CrashSession::logPath(pid_t reporter) const {
    return sessionDirectory + "/crashReporter" + std::to_string(reporter) + ".log";
}

std::string CrashSession::log(pid_t reporter) const {
    return readFile(logPath(reporter));
}

std::vector<std::string> CrashSession::logNames() const {
    return namesWithPrefix(sessionDirectory, "crashReporter");
}

std::vector<std::string> CrashSession::inStore(const std::string& prefix) const {
    return namesWithPrefix(store, prefix);
}

std::vector<std::string> CrashSession::filed() const {
    return namesWithPrefix(backup, "");
}

// --- Waits --------------------------------------------------------------------------------------

std::chrono::milliseconds CrashSession::timeLeft() const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        m_deadline - std::chrono::steady_clock::now());
    return std::max(left, std::chrono::milliseconds(0));
}

bool CrashSession::eventually(const std::function<bool()>& condition) const {
    return test_support::eventually(condition, timeLeft());
}

bool CrashSession::isLogged(pid_t reporter, const std::string& text) const {
    return eventually(
        [&] { return contentIfAny(logPath(reporter)).find(text) != std::string::npos; });
}

bool CrashSession::isRegistered(pid_t host) const {
    return eventually([&] {
        return ("\n" + contentIfAny(registrations)).find("\n" + recordOf(host) + "\n") !=
               std::string::npos;
    });
}

bool CrashSession::goesOn(pid_t reporter) {
    for (const char* name : {"CrashReport_first_look.json", "CrashReport_second_look.json"}) {
        const std::string path = addReport(name, "");
        if (!eventually([&] { return !fs::exists(path); })) return false;
        // It pauses only once it has seen that it is not over, with no report waiting by then.
        if (!eventually([&] { return isAsleep(reporter); })) return false;
    }
    return true;
}

// --- Texts --------------------------------------------------------------------------------------

::testing::AssertionResult standInOrder(const std::string& text,
                                        const std::vector<std::string>& parts) {
    std::size_t from = 0;
    for (const std::string& part : parts) {
        const std::size_t at = text.find(part, from);
        if (at == std::string::npos)
            return ::testing::AssertionFailure()
                   << "missing" << (text.find(part) == std::string::npos ? "" : " in its place")
                   << ": " << part << "\nin: " << text;
        from = at + part.size();
    }
    return ::testing::AssertionSuccess();
}

std::size_t timesIn(const std::string& text, const std::string& part) {
    std::size_t times = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++times;
    return times;
}

}  // namespace integration_test

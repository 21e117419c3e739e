#include "integration/CrashSession.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "HUTEnv.h"
#include "support/SessionProgram.h"

namespace integration_test {
namespace {

namespace fs = std::filesystem;
using namespace test_support;

/// All waits of a case together. CTest's patience is longer, so a case that fails still cleans up.
constexpr std::chrono::seconds kPatience{50};
constexpr char kProgramDirectory[] = "/bin/unwrapped/lnx64.o";
constexpr char kReporter[] = "crash_reporter";

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
    : Session("work"),
      environment(Session::environment()),
      m_deadline(std::chrono::steady_clock::now() + kPatience),
      m_root(INSTALLATION_ROOT) {
    fs::create_directories(data + "/telemon");
    environment["HUT_APP_ROOT"] = m_root;
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

// --- Processes ----------------------------------------------------------------------------------

ChildProcess CrashSession::start(const std::string& path, const std::vector<std::string>& arguments,
                                 const std::function<void()>& preparation) const {
    return test_support::startProgram(*this, path, arguments, environment, preparation);
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

std::string CrashSession::log(pid_t reporter) const {
    return readFile(logPath(reporter));
}

std::vector<std::string> CrashSession::logNames() const {
    return namesWithPrefix(sessionDirectory, "crashReporter");
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

}  // namespace integration_test

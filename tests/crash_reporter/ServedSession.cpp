#include "ServedSession.h"

#include <signal.h>

#include <fstream>
#include <sstream>

namespace crash_reporter_test {
namespace {

namespace fs = std::filesystem;

long statusOf(pid_t pid, const std::string& name) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0) return std::stol(line.substr(name.size() + 1));
    ADD_FAILURE() << "no " << name << " of process " << pid;
    return -1;
}

}  // namespace

ServedSession::ServedSession() {
    const std::string at = session.directory.path();
    // It ends with the test, whose directory goes.
    session.replaceProgram("velcurl",
                           "#!/bin/sh\n"
                           "for argument in \"$@\"; do\n"
                           "    case $argument in\n"
                           "        file_loc=@*) report=${argument##*/} ;;\n"
                           "    esac\n"
                           "done\n"
                           "echo \"$report\" >>'" +
                               at +
                               "/started'\n"
                               "while [ -e '" +
                               at +
                               "/hold' ]; do sleep 0.01; done\n"
                               "echo \"$report\" >>'" +
                               at +
                               "/delivered'\n"
                               "echo 'HTTP/1.1 200 OK'\n");
    test_support::writeFile(session.caFile, "a certificate");
}

void ServedSession::holdUploads() const {
    test_support::writeFile(session.directory / "hold", "");
}

void ServedSession::release() const {
    fs::remove(session.directory / "hold");
}

bool ServedSession::areUploading(std::size_t count) const {
    return session.eventually([&] { return started().size() >= count; });
}

std::map<std::string, int> ServedSession::lines(const std::string& name) const {
    std::map<std::string, int> all;
    std::ifstream in(session.directory / name);
    for (std::string line; std::getline(in, line);) ++all[line];
    return all;
}

std::map<std::string, int> ServedSession::started() const {
    return lines("started");
}

std::map<std::string, int> ServedSession::delivered() const {
    return lines("delivered");
}

std::string ServedSession::addRawTrace(int pid) {
    const std::string id = std::to_string(pid);
    session.addReport("hs_mangled_err_pid" + id + ".log", "/l/libf.so(_Z1fv+0x1)[0x" + id + "]\n");
    return session.store + "/hs_err_pid" + id + ".log";
}

bool ServedSession::isReadable(const std::string& log) const {
    return session.eventually([&] { return fs::exists(log); });
}

ChildProcess ServedSession::registerHost() {
    ChildProcess host = ChildProcess::exec({"sleep", "60"});
    fs::create_directories(session.store);
    std::ofstream(session.registrations, std::ios::app)
        << CrashSession::recordOf(host.pid()) << std::endl;
    return host;
}

void ServedSession::end(ChildProcess& host) const {
    host.signal(SIGKILL);
    host.wait(session.timeLeft());
}

bool ServedSession::isStoreEmptyOfReports() const {
    return session.eventually([this] { return session.inStore("CrashReport_").empty(); });
}

bool ServedSession::obstructStore() const {
    // The crash reporter may be quicker and make the directory.
    for (int i = 0; i < 1000 && !fs::is_regular_file(session.store); ++i) {
        std::error_code busy;
        fs::remove_all(session.store, busy);
        std::ofstream(session.store) << "in the way";
    }
    return fs::is_regular_file(session.store);
}

std::size_t ServedSession::reporters() const {
    std::size_t count = 0;
    for (const pid_t pid : session.processes())
        if (isCrashReporter(pid)) ++count;
    return count;
}

ChildProcess ServedHost::serve() {
    ChildProcess reporter = session.startReporter();
    EXPECT_TRUE(session.isLogged(reporter.pid(), CrashSession::recordOf(host.pid())));
    return reporter;
}

void ServedHost::expectLeaves(ChildProcess& reporter) {
    end(host);
    EXPECT_EQ(reporter.wait(session.timeLeft()), exitedWith(0));
}

long sleepsOf(pid_t pid) {
    return statusOf(pid, "voluntary_ctxt_switches");
}

long residentKiB(pid_t pid) {
    return statusOf(pid, "VmRSS");
}

bool isCrashReporter(pid_t pid) {
    std::error_code gone;
    return fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", gone).filename() ==
           "crash_reporter";
}

}  // namespace crash_reporter_test

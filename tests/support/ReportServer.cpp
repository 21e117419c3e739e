#include "support/ReportServer.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "support/TempDir.h"

namespace test_support {
namespace {

long numberIn(const std::string& path) {
    std::ifstream in(path);
    long number = 0;
    in >> number;
    return number;
}

}  // namespace

ReportServer::ReportServer(const std::string& directory, const Options& options)
    : m_directory(directory), m_name(options.name.empty() ? REPORT_SERVER_HOST : options.name) {
    // A file of an earlier run would be taken for this one's.
    std::remove((m_directory + "/port").c_str());
    // With the death of the test program, even by SIGKILL, the script gets SIGTERM and cleans up.
    std::vector<std::string> argv = {"setpriv", "--pdeathsig", "TERM",   REPORT_SERVER_SCRIPT,
                                     "run",     m_directory,   "--name", m_name};
    argv.insert(argv.end(), options.arguments.begin(), options.arguments.end());
    ChildProcess::Options processOptions;
    processOptions.set = options.environment;
    m_process.emplace(ChildProcess::exec(argv, processOptions));
    const bool settled = eventually([this] {
        return access((m_directory + "/port").c_str(), F_OK) == 0 || m_process->hasEnded();
    });
    if (!settled || m_process->hasEnded()) {
        const std::string error = m_process->standardError();
        stop();
        throw std::runtime_error("report server: " + error);
    }
    m_port = static_cast<int>(numberIn(m_directory + "/port"));
    m_pid = static_cast<pid_t>(numberIn(m_directory + "/pid"));
}

void ReportServer::stop() {
    if (!m_process) return;
    if (!m_process->hasEnded()) m_process->signal(SIGTERM);
    m_process->wait();
    m_process.reset();
}

std::string ReportServer::connectTo() const {
    return m_name + ":443:127.0.0.1:" + std::to_string(m_port);
}

std::vector<std::string> ReportServer::storedReports() const {
    return namesIn(storePath());
}

std::vector<std::string> ReportServer::log() const {
    std::ifstream in(m_directory + "/log/reports.log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

void ReportServer::setAnswer(const std::string& answer) {
    const std::string path = m_directory + "/answer";
    if (answer.empty()) {
        std::remove(path.c_str());
        return;
    }
    writeFile(path + ".new", answer);
    std::rename((path + ".new").c_str(), path.c_str());
}

}  // namespace test_support

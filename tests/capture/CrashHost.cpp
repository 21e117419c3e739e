#include "capture/CrashHost.h"

#include <filesystem>

#include "programs/StackWatch.h"

using test_support::ChildProcess;

namespace {

/// Bytes from the deepest one that was written up to the top.
std::size_t usedOf(const std::string& path) {
    const std::string memory = test_support::readFile(path);
    const std::size_t deepest = memory.find_first_not_of(static_cast<char>(stack_watch::kPaint));
    return deepest == std::string::npos ? 0 : memory.size() - deepest;
}

/// A copy that appears whole or not at all, as the crash reporter makes it.
void copyWhole(const std::string& from, const std::string& to) {
    std::filesystem::copy_file(from, to + ".part",
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::rename(to + ".part", to);
}

}  // namespace

CrashHost::CrashHost() {
    std::filesystem::create_directory(work());
    options.workingDirectory = work();
    options.set = m_session.environment();
    options.unset = test_support::Session::unwantedVariables();
}

std::string CrashHost::rawTrace(pid_t pid) const {
    return work() + "/hs_mangled_err_pid" + std::to_string(pid) + ".log";
}

std::string CrashHost::stackTraceLog(pid_t pid) const {
    return m_session.stackTraceLog(std::to_string(pid));
}

std::string CrashHost::report() const {
    const auto names = m_session.reports();
    return names.empty() ? "" : store() + "/" + names.front();
}

ChildProcess CrashHost::start(const std::vector<std::string>& arguments,
                              const std::string& shellScript) const {
    std::vector<std::string> command;
    if (!shellScript.empty()) command = {"/bin/sh", "-c", shellScript + "\nexec \"$@\"", "sh"};
    command.push_back(CRASH_HOST);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return ChildProcess::exec(command, options);
}

bool CrashHost::answer(pid_t pid) const {
    const std::string raw = m_session.rawTrace(std::to_string(pid));
    if (!test_support::eventually([&] { return std::filesystem::exists(raw); })) return false;
    copyWhole(raw, stackTraceLog(pid));
    return true;
}

void CrashHost::answerUntilTheEnd(ChildProcess& child) const {
    const std::string raw = m_session.rawTrace(std::to_string(child.pid()));
    bool answered = false;
    test_support::eventually([&] {
        if (!answered && std::filesystem::exists(raw)) {
            copyWhole(raw, stackTraceLog(child.pid()));
            answered = true;
        }
        return child.hasEnded();
    });
}

void CrashHost::watchStacks() {
    std::filesystem::create_directory(stacks());
    options.set[stack_watch::kDirectoryVariable] = stacks();
}

std::size_t CrashHost::usedOfAlternateStack() const {
    return usedOf(stacks() + "/altstack");
}
std::size_t CrashHost::usedOfCrashStack() const {
    return usedOf(stacks() + "/crashstack");
}
std::size_t CrashHost::sizeOfCrashStack() const {
    return std::filesystem::file_size(stacks() + "/crashstack");
}

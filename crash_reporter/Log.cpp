#include "crash_reporter/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "HUTEnv.h"
#include "base/FileDescriptor.h"
#include "base/FileIdentity.h"
#include "hcrpt/HCrashReporter.h"
#include "store/SessionPaths.h"

namespace crash_reporter {
namespace {

constexpr char kOlder[] = ".old";

}  // namespace

void Log::open() {
    HCrashReporter::redirectStdoutToCrashLog();
    // Several processes write into it, each at its end.
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    if (flags >= 0) fcntl(STDOUT_FILENO, F_SETFL, flags | O_APPEND);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    m_path = hcrpt::reporterLogPath(std::to_string(HUTEnv::getPid()));
}

void Log::keep() {
    struct stat current = {};
    if (fstat(STDOUT_FILENO, &current) != 0 || !S_ISREG(current.st_mode)) return;
    struct stat named = {};
    const bool there = lstat(m_path.c_str(), &named) == 0;
    if (there && !hcrpt::isSameFile(current, named)) return;  // not ours to touch
    if (there && current.st_size < m_maxBytes) return;
    if (there && std::rename(m_path.c_str(), (m_path + kOlder).c_str()) != 0) return;
    beginAnew();
}

void Log::beginAnew() {
    const hcrpt::FileDescriptor log(::open(
        m_path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR));
    // Without one, what follows still goes to the former file.
    if (!log.isOpen()) return;
    std::fflush(stdout);
    dup2(log.get(), STDOUT_FILENO);
    dup2(log.get(), STDERR_FILENO);
    logInfo("Log of process " + std::to_string(HUTEnv::getPid()) +
            " goes on, at time = " + HCrashReporter::timestamp());
}

}  // namespace crash_reporter

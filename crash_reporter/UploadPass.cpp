#include "crash_reporter/UploadPass.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "base/FatalSignals.h"
#include "base/ProcessEnd.h"
#include "base/ReadyToRead.h"
#include "crash_reporter/Log.h"
#include "hcrpt/HCrashReporter.h"

namespace crash_reporter {
namespace {

/// The signal that ended a process, directly or by the exit status of its crash handler; 0 when it
/// ended by itself.
int fatalSignal(int waitStatus) {
    constexpr int kExitStatusOfSignal = 128;
    if (WIFSIGNALED(waitStatus)) return WTERMSIG(waitStatus);
    return std::max(WEXITSTATUS(waitStatus) - kExitStatusOfSignal, 0);
}

/// Not every signal: after SIGTERM the pass must still finish its current report.
void leaveFaultsUnreported() {
    for (const int number : hcrpt::kFaultSignals) signal(number, SIG_DFL);
}

[[noreturn]] void passInChild(pid_t parent, bool afterCrash) {
    int status = EXIT_SUCCESS;
    if (afterCrash) leaveFaultsUnreported();
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) hcrpt::endProcess(EXIT_FAILURE);  // the parent ended before prctl()
    try {
        HCrashReporter::probeAndSendCrashReports();
    } catch (const std::exception& error) {
        logError(std::string("Pass over the reports: ") + error.what() + ".");
        status = EXIT_FAILURE;
    }
    std::fflush(stdout);
    hcrpt::endProcess(status);
}

}  // namespace

void UploadPass::begin() {
    // Determined in this process: what a child finds out is lost with it.
    auto status = HCrashRptSettings::SEND_SUCCESS;
    HCrashReporter::getConsentAndBackupStatus(HCrashReporter::consentType, status);

    std::fflush(stdout);  // else the child would write it again
    int ends[2] = {-1, -1};
    const pid_t self = getpid();
    m_child = pipe2(ends, O_CLOEXEC) == 0 ? fork() : -1;
    if (m_child == 0) passInChild(self, m_killed);
    // The child's copy closes when the child ends, which makes this end readable.
    if (ends[1] >= 0) close(ends[1]);
    m_end.reset(ends[0]);
    if (m_child > 0) return;
    m_end.reset(-1);
    logError("Could not start a process for the upload, uploading in this one.");
    HCrashReporter::probeAndSendCrashReports();
    m_endedHere = true;
}

bool UploadPass::hasEnded() {
    if (m_endedHere) {
        m_endedHere = false;
        m_killed = false;
        return true;
    }
    if (m_child <= 0) return false;
    int status = 0;
    // The kernel closes its descriptors a moment before waitpid() succeeds.
    const int flags = hcrpt::isReadyToRead(m_end.get()) ? 0 : WNOHANG;
    pid_t got = -1;
    do got = waitpid(m_child, &status, flags);
    while (got < 0 && errno == EINTR);
    if (got == 0) return false;
    const int signal = got == m_child ? fatalSignal(status) : 0;
    m_killed = signal != 0;
    if (m_killed)
        logError("The pass over the reports was ended by signal " + std::to_string(signal) + ".");
    m_child = -1;
    m_end.reset(-1);
    return true;
}

void UploadPass::stop() const {
    if (m_child > 0) kill(m_child, SIGTERM);
}

}  // namespace crash_reporter

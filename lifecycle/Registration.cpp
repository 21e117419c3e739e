// The host's side of the registration file: one record per process, appended under a lock.
#include <signal.h>

#include "HUTEnv.h"
#include "HUTFile.h"
#include "hcrpt/HCrashCapture.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "hcrpt/HCrashRptUtils.h"
#include "recovery/EarlierProcess.h"
#include "store/Records.h"
#include "utils/LockedAppend.h"

namespace {

/// The crash reporter may still be making the file.
constexpr int kFileTests = 3;
constexpr int kLockAttempts = 3;
constexpr int kPauseSeconds = 1;

std::string recordOfThisProcess() {
    return hcrpt::recordOf(HUTEnv::getHostName(), std::to_string(HUTEnv::getPid())) + "\n";
}

bool writeUnderLock(int fd, const std::string& record) {
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        // A failed write is not reported: the host could not act on a full disk.
        if (hcrpt::appendUnderLock(fd, record)) return true;
        // After the last attempt, too: giving up takes three whole seconds.
        HCrashRptUtils::sleep(kPauseSeconds);
    }
    return false;
}

/// Puts an alternate stack that the thread had before back at the end of the scope if it is larger
/// than the one at that time: the host's own handlers may need its size.
class KeptAlternateStack {
  public:
    KeptAlternateStack() { sigaltstack(nullptr, &m_before); }
    ~KeptAlternateStack() {
        stack_t now = {};
        if ((m_before.ss_flags & SS_DISABLE) == 0 && sigaltstack(nullptr, &now) == 0 &&
            now.ss_size < m_before.ss_size)
            sigaltstack(&m_before, nullptr);
    }
    KeptAlternateStack(const KeptAlternateStack&) = delete;
    KeptAlternateStack& operator=(const KeptAlternateStack&) = delete;

  private:
    stack_t m_before = {};
};

}  // namespace

namespace HCrashReporter {

void registration() {
    // A host that could not register is to leave a report all the same.
    registerThisProcess();
    const KeptAlternateStack kept;
    HCrptExceptionMgr::get()->registerSignalHandlers();
}

bool registerThisProcess() {
    const std::string path = HCrashRptSettings::getProcRegFileFullPath();
    const HUTFile file(path);
    for (int test = 1; !file.exists() && test < kFileTests; ++test)
        HCrashRptUtils::sleep(kPauseSeconds);
    if (!file.exists()) return false;
    const bool written = writeProcIdToFile(path);
    if (written) {
        hcrpt::removeTracesOfEarlierProcess();
        leaveProcessFacts();
    }
    return written;
}

bool writeProcIdToFile(std::string path) {
    const int fd = HCrashRptUtils::fileOpen(path);
    if (fd == -1) {
        // Contract: every open is paired with a close, even a failed open. Closing -1 only sets
        // errno.
        HCrashRptUtils::fileClose(fd);
        return false;
    }
    const bool written = writeUnderLock(fd, recordOfThisProcess());
    HCrashRptUtils::fileClose(fd);
    return written;
}

}  // namespace HCrashReporter

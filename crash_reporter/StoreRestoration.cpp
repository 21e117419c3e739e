#include "crash_reporter/StoreRestoration.h"

#include <string>

#include "HUTFile.h"
#include "crash_reporter/LivingRecords.h"
#include "hcrpt/HCrashReporter.h"

namespace crash_reporter {
namespace {

bool isRegistrationFileThere() {
    return HUTFile::exists(HCrashRptSettings::getProcRegFileFullPath());
}

}  // namespace

bool StoreRestoration::restore(const Records& living, Time now) {
    if (!holdLock()) return false;
    if (living.empty()) m_nextTry.reset();
    if (living.empty() || (m_nextTry && now < *m_nextTry)) return true;
    if (isStoreInPlace() && (!m_nextTry || registerAgain(living))) {
        m_nextTry.reset();
        m_pauses.reset();
        return true;
    }
    HUTFile(HCrashRptSettings::getCrashReporterSessionDir()).mkDirRecursive();
    m_log.keep();  // goes with the session directory
    announceOnce(living.size());
    m_nextTry = now + m_pauses.next();
    if (!holdLock()) return false;  // it went with the session directory, too
    if (!isRegistrationFileThere()) HCrashReporter::createProcessRegistrationFile();
    m_watch.follow(HCrashRptSettings::getCrashStorePath());
    if (registerAgain(living) && isRegistrationFileThere()) m_nextTry.reset();
    return true;
}

/// @return false when another crash reporter holds the lock that others would find.
bool StoreRestoration::holdLock() {
    return m_lock.isInPlace() || m_lock.take() != SessionLock::Outcome::heldByAnother;
}

bool StoreRestoration::isStoreInPlace() const {
    return isRegistrationFileThere() && m_watch.isInPlace();
}

void StoreRestoration::announceOnce(std::size_t living) {
    if (m_nextTry) return;
    logError("The crash store has vanished from under " + std::to_string(living) +
             " registered processes: " + HCrashRptSettings::getCrashStorePath() +
             ". Making it anew.");
}

}  // namespace crash_reporter

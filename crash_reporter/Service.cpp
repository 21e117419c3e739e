#include "crash_reporter/Service.h"

#include <poll.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "HUTFile.h"
#include "crash_reporter/FilingPlace.h"
#include "crash_reporter/InterruptedMoves.h"
#include "crash_reporter/StoreReplacement.h"
#include "hcrpt/HCrashReporter.h"
#include "hcrpt/HCrashRptRecovery.h"
#include "hcrpt/HCrashRptUtils.h"

namespace crash_reporter {
namespace {

constexpr std::chrono::seconds kPollInterval(10);
constexpr std::chrono::seconds kPollIntervalWithoutEvents(1);
/// A host that has just started the crash reporter has this long to register.
constexpr std::chrono::seconds kTimeToRegister(15);
/// Another crash reporter that has just taken the session over makes its registration file at once.
constexpr std::chrono::seconds kTimeToMakeFile(5);
constexpr std::chrono::milliseconds kPauseForFile(20);

std::string registrations() {
    return HCrashRptSettings::getProcRegFileFullPath();
}

/// Only then may isExitCondition() be asked: it waits for the first record.
bool hasRecords() {
    return !HCrashRptUtils::isFileEmpty(registrations());
}

Reports waitingReports() {
    const std::vector<std::string> paths = HCrashRptUtils::getFilesWithPrefix(
        HCrashRptSettings::getCrashRptPrefix(), HCrashRptSettings::getCrashStorePath());
    return Reports(paths.begin(), paths.end());
}

/// Those of processes of this machine that run.
Records livingOf(const Records& records) {
    Records living;
    for (const std::string& record : records) {
        const std::string pid = localProcess(record);
        if (!pid.empty() && HCrashRptUtils::isProcessRunning(pid)) living.insert(record);
    }
    return living;
}

/// Adds those records to the registration file that are not in it. @return false: try again.
bool registerAgain(Records records) {
    for (const std::string& record : recordsIn(registrations())) records.erase(record);
    return records.empty() || appendRecords(records);
}

int millisecondsUntil(Time time) {
    using std::chrono::milliseconds;
    // Rounded up: a wait that ends too early would only be made again.
    const auto left = std::chrono::ceil<milliseconds>(time - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), milliseconds(kPollInterval)).count());
}

}  // namespace

// --- Beginning and end --------------------------------------------------------------------------

void Service::run() {
    begin();
    for (;;) {
        work();
        if (m_superseded) {
            handOver();
            return logInfo("Another crash reporter serves this session now, leaving.");
        }
        if (m_stopping && !m_pass.isRunning())
            return logInfo("Asked to leave by a signal, leaving. Waiting reports: " +
                           std::to_string(waitingReports().size()));
        if (!m_stopping && isOver() && leave()) return;
        wait();
    }
}

void Service::begin() {
    m_emptySince = Clock::now();
    registerAgain(livingOf(StoreReplacement::undoInterrupted()));
    clearUp();
    if (!HUTFile::exists(registrations()))
        HCrashReporter::createProcessRegistrationFile();
    else if (hasRecords())
        m_oldStore = true;
    else
        logInfo("Using the empty registration file " + registrations());
    m_store.follow(HCrashRptSettings::getCrashStorePath());
}

/// After one that was killed, before this process or by whom ever.
void Service::clearUp() {
    HCrashReporter::clearLeftovers();
    finishInterruptedMoves();
}

/// Makes a fresh store where nobody needs the old one any more.
void Service::replaceOldStore() {
    m_oldStore = false;
    if (HUTFile::exists(registrations()) && !hasRecords()) return;
    const StoreReplacement replacement;
    if (HUTFile::exists(registrations()) && !HCrashReporter::isExitCondition()) return;
    m_carryOver.keep(registrations());
    const bool aside = replacement.putAside();
    HCrashReporter::createProcessRegistrationFile();
    if (aside) replacement.finish();
    m_emptySince = Clock::now();
    m_carryOver.begin(m_emptySince);
    if (!m_store.isInPlace()) m_store.follow(HCrashRptSettings::getCrashStorePath());
}

bool Service::isOver() {
    const bool known = hasRecords();
    // Asked whatever else there is: it announces new records.
    const bool exitCondition = known && HCrashReporter::isExitCondition();
    if (m_oldStore || m_pass.isRunning() || m_carryOver.nextPoll()) return false;
    if (!m_processes.living().empty() || !waitingReports().empty()) return false;
    if (known) return exitCondition;
    return !HUTFile::exists(registrations()) || Clock::now() >= m_emptySince + kTimeToRegister;
}

/// @return false when there is work again, which came while it was leaving.
bool Service::leave() {
    // The last process may have ended without a report since the work was done.
    if (HCrashReporter::writeMissingReports() > 0) return false;
    // A crash reporter that is started from now on finds the lock free. Who registered before that
    // is seen now, and who registers later started one of its own.
    m_lock.release();
    followProcesses();
    if (isOver()) {
        logInfo("No registered process runs and no report waits, leaving.");
        return true;
    }
    if (m_lock.take() != SessionLock::Outcome::heldByAnother) return false;
    logInfo("Another crash reporter serves this session now, leaving.");
    return true;
}

/// The other one may have begun with a place that was made anew, and know of nobody.
void Service::handOver() {
    const Time end = Clock::now() + kTimeToMakeFile;
    do {
        if (HUTFile::exists(registrations()) && registerAgain(m_processes.living())) return;
        std::this_thread::sleep_for(kPauseForFile);
    } while (Clock::now() < end);
}

// --- Between them -------------------------------------------------------------------------------

void Service::work() {
    m_now = Clock::now();
    // First, since a crashing process waits for it.
    m_rawTraces.demangleNew();
    if (m_stop.isAsked() && !m_stopping) {
        m_stopping = true;
        m_lock.announceRelease();
        m_pass.stop();
    }
    followProcesses();
    keepPlace();
    m_carryOver.poll(m_now);
    if (!m_stopping && !m_superseded) clearUpAfterEnded();
    if (!m_superseded) passOver();
    if (!m_pass.isRunning()) m_log.keep();
}

void Service::followProcesses() {
    if (m_processes.noticeEnds()) m_anyEnded = true;
    m_processes.follow(recordsIn(registrations()));
    m_processes.poll(m_now);
}

/// Reports first, which need what ended processes have left. The rest would pile up in a long
/// session.
void Service::clearUpAfterEnded() {
    HCrashReporter::writeMissingReports();
    if (!m_anyEnded) return;
    m_anyEnded = false;
    HCrashReporter::clearLeftovers();
}

/// Living processes must stay registered, and the session locked, whatever becomes of its places.
void Service::keepPlace() {
    if (!m_lock.isInPlace()) takeLockAgain();
    const Records living = m_processes.living();
    if (living.empty()) m_placeLost = false;
    if (living.empty() || m_superseded || (m_placeLost && m_now < m_nextRestoration)) return;
    if (HUTFile::exists(registrations()) && m_store.isInPlace()) {
        m_placeLost = false;
        m_restorationPauses.reset();
        return;
    }
    restorePlace(living);
}

void Service::takeLockAgain() {
    m_superseded = m_lock.take() == SessionLock::Outcome::heldByAnother;
}

void Service::restorePlace(const Records& living) {
    HUTFile(HCrashRptSettings::getCrashReporterSessionDir()).mkDirRecursive();
    m_log.keep();  // goes with the session directory
    if (!m_placeLost)
        logError("The crash store has vanished from under " + std::to_string(living.size()) +
                 " registered processes: " + HCrashRptSettings::getCrashStorePath() +
                 ". Making it anew.");
    m_placeLost = true;
    m_nextRestoration = m_now + m_restorationPauses.next();
    if (!m_lock.isInPlace()) takeLockAgain();
    if (m_superseded) return;
    if (!HUTFile::exists(registrations())) HCrashReporter::createProcessRegistrationFile();
    m_store.follow(HCrashRptSettings::getCrashStorePath());
    if (!registerAgain(living)) return;
    m_placeLost = !HUTFile::exists(registrations());
}

void Service::passOver() {
    const bool ended = m_pass.hasEnded();
    if (ended && m_pass.wasKilled()) clearUp();
    const Reports waiting = waitingReports();
    if (ended && m_schedule.ended(waiting, m_pass.wasKilled(), m_now))
        logError(
            "A pass could not move any of the waiting reports, trying again from time to time.");
    if (m_pass.isRunning() || m_stopping) return;
    if (waiting.empty()) m_schedule = PassSchedule();
    if (m_schedule.isDue(waiting, m_now)) {
        m_schedule.begun(waiting);
        const std::string obstacle = obstacleToFiling(waiting);
        if (obstacle.empty()) {
            m_pass.begin();
        } else if (m_schedule.ended(waiting, false, m_now)) {
            logError("Sending no reports: " + obstacle + ". Trying again from time to time.");
        }
    } else if (m_oldStore) {
        replaceOldStore();
    }
}

void Service::wait() {
    for (bool news = m_pass.isOverAlready(); !news;) {
        std::vector<pollfd> waits;
        if (!m_stopping) waits.push_back({m_stop.descriptor(), POLLIN, 0});
        waits.push_back({m_store.descriptor(), POLLIN, 0});
        waits.push_back({m_pass.descriptor(), POLLIN, 0});
        m_processes.addTo(waits);
        const Time next = nextPoll();
        poll(waits.data(), waits.size(), millisecondsUntil(next));
        if (Clock::now() >= next || m_stop.isAsked() != m_stopping) return;
        news = isAnyNews(waits);
    }
}

/// Whether what has become readable asks for work. Most events of the store do not.
bool Service::isAnyNews(const std::vector<pollfd>& waits) {
    bool news = false;
    for (const pollfd& wait : waits)
        if (wait.revents != 0) news |= wait.fd != m_store.descriptor() || m_store.takeNews();
    return news;
}

Time Service::nextPoll() const {
    const bool told = m_store.descriptor() >= 0 && m_processes.isComplete();
    Time next = m_now + (told ? Clock::duration(kPollInterval)
                              : Clock::duration(kPollIntervalWithoutEvents));
    const auto include = [&next](const std::optional<Time>& time) {
        if (time) next = std::min(next, *time);
    };
    include(m_processes.nextPoll());
    include(m_carryOver.nextPoll());
    if (!m_pass.isRunning() && !m_stopping) include(m_schedule.nextTry());
    if (m_placeLost) include(m_nextRestoration);
    if (m_now < m_emptySince + kTimeToRegister) include(m_emptySince + kTimeToRegister);
    return next;
}

}  // namespace crash_reporter

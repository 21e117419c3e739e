#include "crash_reporter/Service.h"

#include <poll.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "HUTFile.h"
#include "crash_reporter/FilingPlace.h"
#include "crash_reporter/InterruptedMoves.h"
#include "crash_reporter/LivingRecords.h"
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

bool hasRecords() {
    return !HCrashRptUtils::isFileEmpty(registrations());
}

/// Announces new records and tells whether no registered process runs. isExitCondition() waits
/// for a first record, so it is called only when there is one.
/// @return nothing when there is no record.
std::optional<bool> exitCondition() {
    if (!hasRecords()) return std::nullopt;
    return HCrashReporter::isExitCondition();
}

/// Cleans up after a pass that was killed, in this process or an earlier one.
void cleanUp() {
    HCrashReporter::clearLeftovers();
    finishInterruptedMoves();
}

int millisecondsUntil(Time time) {
    using std::chrono::milliseconds;
    // Rounded up: a wait that ends too early would only be made again.
    const auto left = std::chrono::ceil<milliseconds>(time - Clock::now());
    return static_cast<int>(std::clamp(left, milliseconds(0), milliseconds(kPollInterval)).count());
}

}  // namespace

// --- States -------------------------------------------------------------------------------------

void Service::run() {
    m_state = begin();
    for (;;) {
        work();
        if (tryToEnd()) return;
        wait();
    }
}

Service::State Service::begin() {
    allowTimeToRegister(Clock::now());
    // A host that holds the lock registers itself; the processes are followed in any case.
    (void)registerAgain(livingOf(StoreReplacement::undoInterrupted()));
    cleanUp();
    State state = State::serving;
    if (!HUTFile::exists(registrations()))
        HCrashReporter::createProcessRegistrationFile();
    else if (hasRecords())
        state = State::earlierSession;
    else
        logInfo("Using the empty registration file " + registrations());
    m_store.follow(HCrashRptSettings::getCrashStorePath());
    return state;
}

/// Puts a fresh store in the place of the earlier session's, unless a process needs that one.
Service::State Service::replaceEarlierStore() {
    if (HUTFile::exists(registrations()) && !hasRecords()) return State::serving;
    const StoreReplacement replacement;
    if (HUTFile::exists(registrations()) && !HCrashReporter::isExitCondition() &&
        !hasOnlyStaleRecords())
        return State::serving;
    m_carryOver.holdOpen(registrations());
    const bool aside = replacement.putAside();
    HCrashReporter::createProcessRegistrationFile();
    if (aside) replacement.finish();
    const Time now = Clock::now();
    allowTimeToRegister(now);
    m_carryOver.begin(now);
    if (!m_store.isInPlace()) m_store.follow(HCrashRptSettings::getCrashStorePath());
    return State::serving;
}

/// Returns true when each record of this machine belongs to a process that is gone: its id is
/// another process's now, or it has none. isExitCondition() knows ids alone, so such a record would
/// keep the crash reporter forever. What waits in the store is listed anew: isExitCondition() is
/// false for a report, too.
bool Service::hasOnlyStaleRecords() const {
    return m_processes.living().empty() && !m_processes.nextPoll() &&
           livingOf(recordsIn(registrations())).empty() &&
           hcrpt::StoreSnapshot::take().reports.empty();
}

/// The pass that runs ends after its current report.
Service::State Service::stop() {
    m_lock.announceRelease();
    m_pass.stop();
    return State::stopping;
}

/// Leaves if the state allows it, and says why in the log. @return true when run() has to return.
bool Service::tryToEnd() {
    switch (m_state) {
        case State::earlierSession:
            exitCondition();
            return false;
        case State::serving:
            return isOver() && leave();
        case State::stopping:
            if (m_pass.isRunning()) return false;
            logInfo("Asked to leave by a signal, leaving. Waiting reports: " +
                    std::to_string(m_snapshot.reports.size()));
            return true;
        case State::superseded:
            handOver();
            logInfo("Another crash reporter serves this session now, leaving.");
            return true;
    }
    return true;
}

/// @return true when nothing is left to serve.
bool Service::isOver() const {
    // First, since it announces new records.
    const std::optional<bool> nobodyRuns = exitCondition();
    if (m_pass.isRunning() || m_carryOver.nextPoll()) return false;
    if (!m_processes.living().empty() || !m_snapshot.reports.empty()) return false;
    if (nobodyRuns) return *nobodyRuns || hasOnlyStaleRecords();
    return !m_snapshot.hasRegistrations || m_schedule.isDue(Deadline::firstRecord);
}

/// @return false when work has arrived meanwhile.
bool Service::leave() {
    // The last process may have ended without a report since the work was done.
    if (HCrashReporter::writeMissingReports() > 0) return false;
    // A crash reporter that starts from now on finds the lock free. Hosts that registered earlier
    // are seen now; a host that registers later has started a crash reporter of its own.
    m_lock.release();
    followProcesses();
    m_snapshot = hcrpt::StoreSnapshot::take();
    if (isOver()) {
        logInfo("No registered process runs and no report waits, leaving.");
        return true;
    }
    if (m_lock.take() != SessionLock::Outcome::heldByAnother) return false;
    logInfo("Another crash reporter serves this session now, leaving.");
    return true;
}

/// The other crash reporter may have begun with a fresh store, in which nobody is registered.
void Service::handOver() const {
    const Time end = Clock::now() + kTimeToMakeFile;
    do {
        if (HUTFile::exists(registrations()) && registerAgain(m_processes.living())) return;
        std::this_thread::sleep_for(kPauseForFile);
    } while (Clock::now() < end);
}

// --- A round ------------------------------------------------------------------------------------

void Service::work() {
    m_schedule.beginRound(Clock::now());
    // First, since a crashing process waits for it.
    m_snapshot = hcrpt::StoreSnapshot::take();
    m_rawTraces.demangleNew(m_snapshot);
    if (isStopRequested()) m_state = stop();
    followProcesses();
    if (!m_restoration.restore(m_processes.living(), m_schedule.now())) m_state = State::superseded;
    m_carryOver.poll(m_schedule.now());
    if (m_state == State::earlierSession || m_state == State::serving) finishForEndedProcesses();
    if (m_state != State::superseded) uploadReports();
    if (!m_pass.isRunning()) m_log.keep();
}

void Service::followProcesses() {
    m_processes.noticeEnds();
    m_processes.follow(recordsIn(registrations()));
    m_processes.poll(m_schedule.now());
}

/// Writes the reports that ended processes could not write, and removes what they have left, which
/// would pile up in a long session. In this order: the reports need what is left.
void Service::finishForEndedProcesses() {
    if (!m_snapshot.rawTraces.empty() && HCrashReporter::writeMissingReports() > 0)
        m_snapshot = hcrpt::StoreSnapshot::take();
    if (m_processes.takeEnds()) HCrashReporter::clearLeftovers();
}

void Service::uploadReports() {
    const bool ended = m_pass.hasEnded();
    if (ended && m_pass.wasKilled()) cleanUp();
    if (ended) m_snapshot = hcrpt::StoreSnapshot::take();
    const Reports& waiting = m_snapshot.reports;
    if (ended && m_passes.ended(waiting, m_pass.wasKilled(), m_schedule.now()))
        logError(
            "A pass could not move any of the waiting reports, trying again from time to time.");
    if (m_pass.isRunning() || m_state == State::stopping) return;
    if (waiting.empty()) m_passes = PassSchedule();
    if (m_passes.isDue(waiting, m_schedule.now()))
        beginPass(waiting);
    else if (m_state == State::earlierSession)
        m_state = replaceEarlierStore();
}

void Service::beginPass(const Reports& waiting) {
    m_passes.begun(waiting);
    if (const std::optional<std::string> obstacle = obstacleToFiling(waiting)) {
        if (m_passes.ended(waiting, false, m_schedule.now()))
            logError("Sending no reports: " + *obstacle + ". Trying again from time to time.");
        return;
    }
    m_pass.begin();
}

void Service::allowTimeToRegister(Time since) {
    m_schedule.set(Deadline::firstRecord, since + kTimeToRegister);
}

// --- Between rounds -----------------------------------------------------------------------------

void Service::wait() {
    const Time wakeUp = nextWakeUp();
    for (bool work = m_pass.hasEndedHere(); !work;) {
        std::vector<pollfd> waits;
        if (m_state != State::stopping) waits.push_back({m_stop.descriptor(), POLLIN, 0});
        waits.push_back({m_store.descriptor(), POLLIN, 0});
        waits.push_back({m_pass.descriptor(), POLLIN, 0});
        m_processes.addTo(waits);
        poll(waits.data(), waits.size(), millisecondsUntil(wakeUp));
        if (Clock::now() >= wakeUp || isStopRequested()) return;
        work = isWorkWaiting(waits);
    }
}

Time Service::nextWakeUp() {
    const bool hasAllEvents = m_store.descriptor() >= 0 && m_processes.isComplete();
    const Time poll =
        m_schedule.now() + (hasAllEvents ? kPollInterval : kPollIntervalWithoutEvents);
    const bool mayBeginPass = !m_pass.isRunning() && m_state != State::stopping;
    m_schedule.set(Deadline::poll, poll);
    m_schedule.set(Deadline::endedProcess, m_processes.nextPoll());
    m_schedule.set(Deadline::carryOver, m_carryOver.nextPoll());
    m_schedule.set(Deadline::nextPass, mayBeginPass ? m_passes.nextTry() : std::nullopt);
    m_schedule.set(Deadline::restoration, m_restoration.nextTry());
    return m_schedule.next().value_or(poll);
}

/// @return true when SIGTERM has come and nothing has been done about it yet.
bool Service::isStopRequested() const {
    return m_stop.isRequested() && m_state != State::stopping;
}

/// @return true when a descriptor that has become readable brings work. Most of the store's events
/// bring none.
bool Service::isWorkWaiting(const std::vector<pollfd>& waits) {
    bool work = false;
    for (const pollfd& wait : waits)
        if (wait.revents != 0) work |= wait.fd != m_store.descriptor() || m_store.takeEvents();
    return work;
}

}  // namespace crash_reporter

/// @file
/// What the crash reporter does from its start to its end.
#pragma once

#include <poll.h>

#include <vector>

#include "crash_reporter/CarryOver.h"
#include "crash_reporter/Log.h"
#include "crash_reporter/PassSchedule.h"
#include "crash_reporter/ProcessWatch.h"
#include "crash_reporter/RawTraces.h"
#include "crash_reporter/Schedule.h"
#include "crash_reporter/SessionLock.h"
#include "crash_reporter/StopSignal.h"
#include "crash_reporter/StoreRestoration.h"
#include "crash_reporter/StoreWatch.h"
#include "crash_reporter/UploadPass.h"
#include "store/StoreSnapshot.h"

namespace crash_reporter {

/// Serves a session in rounds of work. Between them it sleeps until a raw trace, a report or a
/// record arrives, a registered process or a pass ends, SIGTERM comes, or a deadline of the
/// schedule is due.
///
/// | state          | waits for                            | then                              |
/// |----------------|--------------------------------------|-----------------------------------|
/// | earlierSession | passes over the reports that an      | when no pass is due: replaces the |
/// |                | earlier session has left             | store unless it is needed; then   |
/// |                |                                      | serving                           |
/// | serving        | traces, reports, records, ends of    | ends when no process runs and no  |
/// |                | processes                            | report waits                      |
/// | stopping       | the end of the running pass          | ends when no pass runs            |
/// | superseded     | nothing                              | registers the living processes    |
/// |                |                                      | with the other crash reporter,    |
/// |                |                                      | ends                              |
///
/// It begins with earlierSession when the registration file holds records, else with serving.
/// SIGTERM leads from both to stopping. From every state it becomes superseded when it finds that
/// its lock was removed and another crash reporter holds the new one.
class Service {
  public:
    /// All of them must outlive it. The lock is taken, or this file system has none.
    Service(SessionLock& lock, const StopSignal& stop, Log& log)
        : m_lock(lock), m_stop(stop), m_log(log) {}

    /// Returns when nothing is left to serve, when another crash reporter serves the session, or
    /// after SIGTERM.
    void run();

  private:
    enum class State { earlierSession, serving, stopping, superseded };

    // --- States ---
    [[nodiscard]] State begin();
    [[nodiscard]] State replaceEarlierStore();
    [[nodiscard]] State stop();
    [[nodiscard]] bool tryToEnd();
    [[nodiscard]] bool isOver() const;
    [[nodiscard]] bool hasOnlyStaleRecords() const;
    [[nodiscard]] bool leave();
    void handOver() const;

    // --- A round ---
    void work();
    void followProcesses();
    void finishForEndedProcesses();
    void uploadReports();
    void beginPass(const Reports& waiting);
    void allowTimeToRegister(Time since);

    // --- Between rounds ---
    void wait();
    [[nodiscard]] Time nextWakeUp();
    [[nodiscard]] bool isStopRequested() const;
    [[nodiscard]] bool isWorkWaiting(const std::vector<pollfd>& waits);

    SessionLock& m_lock;
    const StopSignal& m_stop;
    Log& m_log;

    State m_state = State::serving;
    Schedule m_schedule;
    StoreWatch m_store;
    ProcessWatch m_processes;
    hcrpt::StoreSnapshot m_snapshot;  ///< of this round; taken again after a change of its own
    RawTraces m_rawTraces;
    UploadPass m_pass;
    PassSchedule m_passes;
    CarryOver m_carryOver;
    StoreRestoration m_restoration{m_lock, m_store, m_log};
};

}  // namespace crash_reporter

/// @file
/// What the crash reporter does from its start to its end.
#pragma once

#include <poll.h>

#include <vector>

#include "crash_reporter/BackOff.h"
#include "crash_reporter/CarryOver.h"
#include "crash_reporter/Log.h"
#include "crash_reporter/PassSchedule.h"
#include "crash_reporter/ProcessWatch.h"
#include "crash_reporter/RawTraces.h"
#include "crash_reporter/SessionLock.h"
#include "crash_reporter/StopSignal.h"
#include "crash_reporter/StoreWatch.h"
#include "crash_reporter/UploadPass.h"

namespace crash_reporter {

/// Serves a session: waits for raw traces, reports, records and ends of registered processes, and
/// does what each asks for. Between events it sleeps; it looks at everything every ten seconds, for
/// what no event tells of, and every second where the kernel tells too little.
class Service {
  public:
    /// All of them must outlive it. The lock is taken, or there can be none.
    Service(SessionLock& lock, const StopSignal& stop, Log& log)
        : m_lock(lock), m_stop(stop), m_log(log) {}

    /// Until there is nothing left to serve, another one serves the session, or SIGTERM.
    void run();

  private:
    // --- Beginning and end ---
    void begin();
    static void clearUp();
    void replaceOldStore();
    bool isOver();
    bool leave();
    void handOver();

    // --- Between them ---
    void work();
    void keepPlace();
    void takeLockAgain();
    void restorePlace(const Records& living);
    void followProcesses();
    void clearUpAfterEnded();
    void passOver();
    void wait();
    Time nextPoll() const;
    bool isAnyNews(const std::vector<pollfd>& waits);

    SessionLock& m_lock;
    const StopSignal& m_stop;
    Log& m_log;

    StoreWatch m_store;
    ProcessWatch m_processes;
    RawTraces m_rawTraces;
    UploadPass m_pass;
    PassSchedule m_schedule;
    CarryOver m_carryOver;

    Time m_now;                 ///< when the present round of work began
    Time m_emptySince;          ///< when the registration file was first seen empty
    bool m_oldStore = false;    ///< an earlier session's store has still to be gone through
    bool m_anyEnded = false;    ///< a registered process, since files were last cleared away
    bool m_stopping = false;    ///< SIGTERM has come
    bool m_superseded = false;  ///< another crash reporter has taken the session over
    bool m_placeLost = false;   ///< and said so
    Time m_nextRestoration;
    BackOff m_restorationPauses{std::chrono::seconds(1), std::chrono::seconds(60)};
};

}  // namespace crash_reporter

/// @file
/// A crash store that has vanished, made anew.
#pragma once

#include <optional>

#include "crash_reporter/BackOff.h"
#include "crash_reporter/Log.h"
#include "crash_reporter/Registrations.h"
#include "crash_reporter/SessionLock.h"
#include "crash_reporter/StoreWatch.h"

namespace crash_reporter {

/// Keeps living processes registered and the session locked when somebody removes the session's
/// directories. Attempts that fail are repeated after pauses of 1, 2, 4 up to 60 seconds, with one
/// line of the log for all of them.
class StoreRestoration {
  public:
    /// All of them must outlive it.
    StoreRestoration(SessionLock& lock, StoreWatch& watch, Log& log)
        : m_lock(lock), m_watch(watch), m_log(log) {}

    /// Takes the lock again if its file has gone. Makes a store that has gone anew, follows it and
    /// registers the living processes in it. Without living processes nobody needs the store.
    /// @return false when another crash reporter has taken the session over.
    [[nodiscard]] bool restore(const Records& living, Time now);

    /// When to try again; nothing while the store is there.
    [[nodiscard]] std::optional<Time> nextTry() const { return m_nextTry; }

  private:
    bool holdLock();
    bool isStoreInPlace() const;
    void announceOnce(std::size_t living);

    SessionLock& m_lock;
    StoreWatch& m_watch;
    Log& m_log;
    std::optional<Time> m_nextTry;  ///< set while the store is lost
    BackOff m_pauses{std::chrono::seconds(1), std::chrono::seconds(60)};
};

}  // namespace crash_reporter

/// @file
/// A crash reporter that is followed call by call and killed before a chosen one.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <set>

#include "ServedSession.h"

namespace crash_reporter_test {

/// Runs the crash reporter of a session under the tracer's control, with all processes that it
/// forks until they run another program. Counts its calls that change files: making, writing,
/// renaming, removing, cutting and giving rights, the lines of its log included.
class CallByCall {
  public:
    enum class Victims {
        all,   ///< the crash reporter and its forked processes
        pass,  ///< only forked processes are counted, and only the one that makes the call is
               ///< killed
    };

    /// Returns true when this system lets a process follow its children.
    static bool isPossible();

    /// @param before the number of the call, from 1; 0: none.
    CallByCall(const CrashSession& session, Victims victims, int before)
        : m_session(session), m_victims(victims), m_before(before) {}

    /// Lets it run until it has ended.
    /// @param finish called now and then; makes the crash reporter leave when its work is done.
    void run(const std::function<void(pid_t reporter)>& finish);

    /// Returns true when the chosen call was reached.
    bool hasKilled() const { return m_killed; }
    test_support::ExitState end() const { return m_end; }

  private:
    bool hasEnded(ChildProcess& reporter) const;
    bool handleOne();
    void handleStop(pid_t pid, int status);
    bool isChosen(pid_t pid);
    void killFrom(pid_t pid);

    const CrashSession& m_session;
    Victims m_victims;
    int m_before;
    int m_calls = 0;
    bool m_killed = false;
    pid_t m_reporter = -1;
    std::set<pid_t> m_followed;  ///< but the crash reporter itself
    std::set<pid_t> m_ended;     ///< of them
    test_support::ExitState m_end;
};

}  // namespace crash_reporter_test

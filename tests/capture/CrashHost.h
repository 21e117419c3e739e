/// @file
/// Runs crash_host with a stand-in for the crash reporter beside it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/Session.h"

/// One run of crash_host in a session and a working directory of its own.
class CrashHost {
  public:
    CrashHost();

    std::string work() const { return m_session.directory / "work"; }
    const std::string& store() const { return m_session.store; }
    std::string rawTrace(pid_t pid) const;
    std::string stackTraceLog(pid_t pid) const;
    /// Full path of the one report in the store; empty when there is none.
    std::string report() const;

    /// Options of a run; change them before it.
    test_support::ChildProcess::Options options;

    /// Starts crash_host, which gets these arguments; a shell may set the scene for it first.
    test_support::ChildProcess start(const std::vector<std::string>& arguments,
                                     const std::string& shellScript = "") const;
    /// Makes the stack-trace log as soon as the raw trace is in the store. The log is the raw
    /// trace: what becomes of its lines is not of interest here. @return whether it came.
    bool answer(pid_t pid) const;
    /// The same until the process ends, whether or not a trace comes.
    void answerUntilTheEnd(test_support::ChildProcess& child) const;

    // --- Use of the stacks: needs watchStacks() before the run ---
    void watchStacks();
    /// Bytes of the alternate signal stack that were written, the kernel's included.
    std::size_t usedOfAlternateStack() const;
    std::size_t usedOfCrashStack() const;
    std::size_t sizeOfCrashStack() const;

  private:
    std::string stacks() const { return m_session.directory / "stacks"; }

    test_support::Session m_session;
};

/// @file
/// A session and a platform in which a process may crash.
#pragma once

#include <string>

#include "hcrpt/HCrashRptSettings.h"
#include "support/ScopedFakePlatform.h"
#include "support/Session.h"

/// The process id is 4242, so that all file names are known beforehand. The crash-time paths are
/// fixed at their first use: each case needs a process of its own, which CTest gives it.
class CrashScene {
  public:
    CrashScene() {
        std::filesystem::create_directory(work());
        platform.fakePid = 4242;
        platform.fakeWorkingDirectory = work();
    }

    std::string work() const { return m_session.directory / "work"; }
    const std::string& store() const { return m_session.store; }
    std::string rawTrace() const { return work() + "/hs_mangled_err_pid4242.log"; }
    std::string stackTraceLog() const { return m_session.stackTraceLog("4242"); }

    /// What the crash reporter would do: the log that the crashing process waits for.
    void writeStackTraceLog(const std::string& content) const {
        m_session.add("hs_err_pid4242.log", content);
    }
    /// Puts a file where the store's directories would be made.
    void makeStoreImpossible() const {
        test_support::writeFile(m_session.directory.path() + "/.crashReporter", "");
    }
    /// Full path of the one report in the store; empty when there is none.
    std::string report() const {
        const auto names = m_session.reports();
        return names.empty() ? "" : store() + "/" + names.front();
    }

  private:
    test_support::ScopedSession m_session;

  public:
    test_support::ScopedFakePlatform platform;
};

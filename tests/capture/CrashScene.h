/// @file
/// A session, a working directory and a platform in which a process may die.
#pragma once

#include <filesystem>
#include <string>

#include "hcrpt/HCrashRptSettings.h"
#include "support/ScopedEnvVar.h"
#include "support/ScopedFakePlatform.h"
#include "support/TempDir.h"

/// The process id is 4242, so that all file names are known beforehand. The crash-time paths are
/// fixed at their first use: each case needs a process of its own, which CTest gives it.
class CrashScene {
  public:
    CrashScene() : m_session("ZEB_SESSION_INFO", m_directory.path() + ":session") {
        std::filesystem::create_directory(work());
        platform.fakePid = 4242;
        platform.fakeWorkingDirectory = work();
    }

    std::string work() const { return m_directory / "work"; }
    std::string store() const { return m_directory / ".crashReporter/session/crashStore"; }
    std::string rawTrace() const { return work() + "/hs_mangled_err_pid4242.log"; }
    std::string stackTraceLog() const { return store() + "/hs_err_pid4242.log"; }

    /// What the crash reporter would do: the log that the crashing process waits for.
    void writeStackTraceLog(const std::string& content) const {
        std::filesystem::create_directories(store());
        test_support::writeFile(stackTraceLog(), content);
    }
    /// Puts a file where the store's directories would be made.
    void makeStoreImpossible() const {
        test_support::writeFile(m_directory / ".crashReporter", "");
    }
    /// Full path of the one report in the store; empty when there is none.
    std::string report() const {
        for (const std::string& name : test_support::namesIn(store()))
            if (name.rfind("CrashReport_", 0) == 0) return store() + "/" + name;
        return "";
    }

  private:
    test_support::TempDir m_directory;
    test_support::ScopedEnvVar m_session;

  public:
    test_support::ScopedFakePlatform platform;
};

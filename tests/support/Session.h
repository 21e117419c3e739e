/// @file
/// A session of a test's own: its places, and the environment that leads processes to them.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/ScopedEnvVar.h"
#include "support/TempDir.h"

namespace test_support {

/// Session 1 in a fresh temporary directory, with empty directories for the launch, the user's data
/// and temporary files. The crash store is missing until something is put into it.
class Session {
  public:
    /// @param launch the launch directory's name below the temporary one; empty: that itself
    explicit Session(const std::string& launch = "");

    /// What leads processes to the session, where unwantedVariables() lead them nowhere else.
    std::map<std::string, std::string> environment() const;
    static const std::vector<std::string>& unwantedVariables();
    /// Gives this process the session's environment, until that of another session.
    void enter() const;

    void makeStore() const { std::filesystem::create_directories(store); }
    /// Writes a file of the crash store. @return its path.
    std::string add(const std::string& name, const std::string& content = "{}") const {
        makeStore();
        writeFile(store + "/" + name, content);
        return store + "/" + name;
    }
    /// Lets a file of the crash store appear whole. @return its path.
    std::string moveIn(const std::string& name, const std::string& content = "{}") const {
        makeStore();
        writeFile(directory / name, content);
        std::filesystem::rename(directory / name, store + "/" + name);
        return store + "/" + name;
    }
    void writeRegistrations(const std::string& records) const {
        add("processRegFile.txt", records);
    }

    std::string rawTrace(const std::string& pid) const {
        return store + "/hs_mangled_err_pid" + pid + ".log";
    }
    std::string stackTraceLog(const std::string& pid) const {
        return store + "/hs_err_pid" + pid + ".log";
    }
    std::string reporterLog(const std::string& pid) const {
        return sessionDirectory + "/crashReporter" + pid + ".log";
    }
    /// Sorted names of what the crash store holds that begins so; none without a store.
    std::vector<std::string> inStore(const std::string& prefix) const {
        return namesWithPrefix(store, prefix);
    }
    std::vector<std::string> reports() const { return inStore("CrashReport_"); }

    const TempDir directory;
    const std::string work;  ///< the launch directory
    const std::string sessionDirectory = work + "/.crashReporter/1";
    const std::string store = sessionDirectory + "/crashStore";
    const std::string registrations = store + "/processRegFile.txt";
    const std::string appData = directory / "appdata";
    const std::string backup = appData + "/crashStoreBackup";
    const std::string tmp = directory / "tmp";
    const std::string data = directory / "data";
};

/// A session that this process is in, for the time of a scope.
class ScopedSession : public Session {
  public:
    explicit ScopedSession(const std::string& launch = "");

  private:
    std::map<std::string, std::optional<ScopedEnvVar>> m_variables;
};

}  // namespace test_support

/// @file
/// Uploads reports: settings of client and server, the upload tool, the upload of one report.
#pragma once

#include <string>

#include "hcrpt/HCrptExport.h"

/// The client's settings of an upload. Setters store the value unchanged and unchecked.
class HCRPT_EXPORT ClientInfoCL {
  public:
    /// Empties all fields, then runs the three probes in the order of their declaration. May create
    /// the temporary directory.
    ClientInfoCL();

    std::string getRegId() const;
    void setRegId(const std::string& value);
    std::string getCoreDumpDir() const;
    void setCoreDumpDir(const std::string& value);
    std::string getTempDir() const;
    void setTempDir(const std::string& value);
    std::string getProxy() const;
    void setProxy(const std::string& value);
    std::string getCacert() const;
    void setCacert(const std::string& value);

    /// Always empty.
    std::string probeAndGetRegId();
    /// Always empty.
    std::string probeAndGetCoreDumpDir();
    /// Returns the canonical path of the directory "CrashReporter" in the platform's temporary
    /// directory. Creates it when it is missing and prints "[Crash Reporter] created tmp dir :...",
    /// or "[Crash Reporter] Error: Could not create tmp dir: ..." on failure. Empty when it does
    /// not exist and cannot be created.
    std::string probeAndGetTempDir();

  private:
    std::string m_regId;
    std::string m_coreDumpDir;
    std::string m_tempDir;
    std::string m_proxy;
    std::string m_cacert;
};

/// The report server's settings of an upload. Setters store the value unchanged and unchecked.
class HCRPT_EXPORT ServerInfoCL {
  public:
    ServerInfoCL();

    std::string getUrl() const;
    void setUrl(const std::string& value);
    std::string getDomainName() const;
    void setDomainName(const std::string& value);
    std::string getAccess() const;
    void setAccess(const std::string& value);

  private:
    std::string m_url;
    std::string m_domainName;
    std::string m_access;
};

/// Runs the upload tool on a report and checks its log. Stateless. One upload at a time, because
/// the log has a fixed name.
class HCRPT_EXPORT HCrashRptCurlMgr {
  public:
    /// Calls UploadUsingVelcurlApp() with the same arguments.
    static bool uploadHttps(std::string report, const ServerInfoCL& server,
                            const ClientInfoCL& client);
    /// Uploads one report and deletes the tool's log. If the tool is missing, returns false at
    /// once, without a message.
    static bool UploadUsingVelcurlApp(std::string report, const ServerInfoCL& server,
                                      const ClientInfoCL& client);
    /// Returns the tool's arguments. Only the report's path is quoted.
    static std::string buildArgs(std::string report, const ServerInfoCL& server,
                                 const ClientInfoCL& client);
    /// Prints the command, runs it through the shell, waits for its end and echoes its log.
    /// @return true when the command ended with status 0 and the log shows success.
    static bool launchProcessSystem(const std::string& command, const std::string& log);
    /// Does the same by means of HUTFork. The upload does not use it.
    static bool launchProcess(const std::string& command, const std::string& log);
    /// Echoes the log line by line, up to the first line that contains "HTTP/1.1 200 OK".
    /// @return true when there is such a line; false, without a message, when the log cannot be
    ///         opened.
    static bool isUploadSuccess(const std::string& log);
};

/// Uploads a report with freshly gathered settings. Stateless. Threads: one.
class HCRPT_EXPORT HCrashRptFileTransmitMgr {
  public:
    /// Returns this machine's settings; the path of the CA certificate file is empty when there is
    /// none.
    static ClientInfoCL getClientInfo();
    /// Returns the report server's settings.
    static ServerInfoCL getVelServerInfo();
    /// Sends one report to the report server. Prints a line and sends nothing when there is no CA
    /// certificate file, and when the report's name contains a character that a shell acts on
    /// within double quotes ($ ` " \ and line feed).
    /// @return true when the server accepted the report.
    static bool uploadToServer(std::string report);
    /// Uploads the report and prints the outcome. The line of a failure has no line feed and is not
    /// flushed: the next message continues it.
    static bool uploadHttps(std::string report, const ServerInfoCL& server,
                            const ClientInfoCL& client);
};

/// @file
/// Upload of a report: what the two ends need, the upload tool, one report's upload.
#pragma once

#include <string>

#include "hcrpt/HCrptExport.h"

/// This machine's end of an upload. Plain values; setters neither check nor trim.
class HCRPT_EXPORT ClientInfoCL {
  public:
    /// Empty fields, then the three probes in the order of their declaration; may therefore create
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
    /// Canonical path of "CrashReporter" in the platform's temporary directory, created when
    /// missing (prints which way that ended); empty when it cannot be had.
    std::string probeAndGetTempDir();

  private:
    std::string m_regId;
    std::string m_coreDumpDir;
    std::string m_tempDir;
    std::string m_proxy;
    std::string m_cacert;
};

/// The report server's end of an upload. Plain values; setters neither check nor trim.
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

/// Runs the upload tool on a report and judges its log. Stateless; one upload at a time, as the log
/// has a fixed name.
class HCRPT_EXPORT HCrashRptCurlMgr {
  public:
    /// UploadUsingVelcurlApp() of the same arguments.
    static bool uploadHttps(std::string report, const ServerInfoCL& server,
                            const ClientInfoCL& client);
    /// Uploads one report. A missing tool gives false without a message and without running or
    /// deleting anything; otherwise the log is deleted before the return.
    static bool UploadUsingVelcurlApp(std::string report, const ServerInfoCL& server,
                                      const ClientInfoCL& client);
    /// The tool's arguments. Only the report's path is quoted.
    static std::string buildArgs(std::string report, const ServerInfoCL& server,
                                 const ClientInfoCL& client);
    /// Prints the command, runs it through the shell, waits, echoes its log.
    /// @return whether it ended with 0 and the log shows success.
    static bool launchProcessSystem(const std::string& command, const std::string& log);
    /// The same through HUTFork; the upload does not use it.
    static bool launchProcess(const std::string& command, const std::string& log);
    /// Echoes the log line by line up to the first that holds "HTTP/1.1 200 OK".
    /// @return whether there is such a line; false, without a message, when it cannot be opened.
    static bool isUploadSuccess(const std::string& log);
};

/// Uploads a report with settings gathered afresh. Stateless; one thread.
class HCRPT_EXPORT HCrashRptFileTransmitMgr {
  public:
    /// This machine's settings; the CA certificate file is empty when there is none.
    static ClientInfoCL getClientInfo();
    /// The report server's settings.
    static ServerInfoCL getVelServerInfo();
    /// Sends one report to the report server. Without a CA certificate file, and when the report's
    /// name holds a character that a shell acts on within double quotes ($ ` " \ and line feed),
    /// prints a line and sends nothing.
    /// @return whether the server accepted it.
    static bool uploadToServer(std::string report);
    /// Uploads and prints the outcome. The line of a failure has no line feed and is not flushed:
    /// the next message continues it.
    static bool uploadHttps(std::string report, const ServerInfoCL& server,
                            const ClientInfoCL& client);
};

/// @file
/// Switches, names, limits, directories and files of the crash-reporting system.
#pragma once

#include <string>

#include "hcrpt/HCrptExport.h"

/// Every fixed choice of the system in one place. No state: each getter asks the environment and
/// the platform library again and returns a new string, so a change of the environment between
/// two calls changes the answer. Nothing is created or deleted here.
///
/// Grade: @crashtime (strings come from the heap). Threads: any; setCrptAlreadyRunning() changes
/// the environment and must not race with other readers or writers of it. No messages; only
/// exhausted memory raises (std::bad_alloc).
class HCRPT_EXPORT HCrashRptSettings {
  public:
    /// Whether the user lets reports be sent. The values are fixed: they are stored and compared.
    enum ConsentType {
        CONSENT_NOT_ASKED = 0,  ///< not known yet; the consent form is to be asked
        CONSENT_GIVEN = 1,      ///< reports may be sent
        CONSENT_LATER = 2,      ///< reports are filed, to be sent later
        CONSENT_REFUSED = 3,    ///< nothing is sent or filed
    };

    /// How a report's upload ended; the suffix of its file in the backup store.
    enum RptBackupStatus {
        SEND_SUCCESS = 0,  ///< uploaded; "send_success"
        SEND_FAIL = 1,     ///< the upload failed; "send_fail"
        SEND_LATER = 2,    ///< not sent now; "send_later"
    };

    /// What a report handler looks for in the crash store.
    enum ReportType {
        MANGLED_STACK_TRACE = 0,    ///< raw traces, which become stack-trace logs
        COMPLETE_CRASH_REPORT = 1,  ///< finished reports
    };

    // --- Switches -------------------------------------------------------------------------

    /// "CRPT_OFF": unset, or exactly "false", leaves reporting on; every other value, an empty
    /// one too, switches it off.
    static bool isCrptEnvironVarOff();
    /// Whether this machine is on the maker's own network, as the platform library says.
    static bool isRunningOnInternalHost();
    /// False for products without crash reporting. The name is compared as it is passed, letter
    /// case included.
    static bool isSupportedProduct(const std::string& product);
    /// True when reporting is not switched off, the machine is inside the maker's network and the
    /// product is supported; tested in this order.
    static bool isCrashReporterEnabled(const std::string& product);
    /// "CRPT_ALREADY_RUNNING" is exactly "true".
    static bool isCrptAlreadyRunning();
    /// Sets "CRPT_ALREADY_RUNNING" to "true" for this process and those it starts from now on.
    static void setCrptAlreadyRunning();

    // --- Names and limits -----------------------------------------------------------------

    /// "/"
    static std::string getDirSeparator();
    /// "crash_reporter", the companion program
    static std::string getCrptAppName();
    /// "velcurl", the upload tool
    static std::string getCurlAppName();
    /// URL of the report server: "https://", the host of the deployment,
    /// "/cgi-bin/crashreporter.cgi"
    static std::string getKorServerUrl();
    /// "CrashReport_", with which finished reports begin
    static std::string getCrashRptPrefix();
    /// "hs_mangled_err_pid", with which raw traces begin
    static std::string getMangledStackTraceFilePrefix();
    /// "hs_err_pid", with which stack-trace logs begin
    static std::string getDemangledStackTraceFilePrefix();
    /// 30: how many reports one pass of the reporter uploads at the most
    static int getMaxRptsToSend();

    // --- Directories and files ------------------------------------------------------------
    // "ZEB_SESSION_INFO" holds the launch directory and the session id, separated by the first
    // ":". Parts are joined with one separator and never normalised, so an empty part leaves two
    // separators side by side.

    /// The launch directory L; empty when "ZEB_SESSION_INFO" is unset, the whole value when it
    /// has no colon.
    static std::string getSessionLaunchDir();
    /// The session id S, all that follows the first colon; empty when unset, the whole value when
    /// there is no colon.
    static std::string getSessionId();
    /// L/.crashReporter
    static std::string getCrashReporterScratchDir();
    /// L/.crashReporter/S
    static std::string getCrashReporterSessionDir();
    /// The same directory: there the reporter's log lies.
    static std::string crashReporterLogDir();
    /// L/.crashReporter/S/crashStore
    static std::string getCrashStorePath();
    /// L/.crashReporter/S/crashStore/processRegFile.txt
    static std::string getProcRegFileFullPath();
    /// crashStoreBackup in the user's application data directory, shared by all sessions
    static std::string getCrashBackupStorePath();
    /// L/P_pidN.str: P the product name with its first character in lower case, N the process id
    static std::string getGuiStrDumpFileName();
    /// The working directory, where a crashing process writes its raw trace
    static std::string getStackTraceLogPath();
    /// Full path of a program shipped with the product, or empty when it is missing or cannot be
    /// executed by this user.
    static std::string getAppPath(const std::string& name);
};

/// Whether the user consents to sending.
class HCRPT_EXPORT HCrashRptConsentForm {
  public:
    /// Always CONSENT_GIVEN: there is no dialog.
    static HCrashRptSettings::ConsentType getCustomerConsent();
};

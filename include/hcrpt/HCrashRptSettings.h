/// @file
/// Switches, names, limits, directories and files of the crash-reporting system.
#pragma once

#include <string>

#include "hcrpt/HCrptExport.h"

/// All fixed choices of the system. No state: each getter reads the environment and the platform
/// library again and returns a new string, so a change of the environment between two calls changes
/// the result. No function creates or deletes a file.
///
/// Grade: @crashtime (strings come from the heap). Threads: any; setCrptAlreadyRunning() changes
/// the environment and must not race with other readers or writers of it. No messages; the only
/// exception is std::bad_alloc.
class HCRPT_EXPORT HCrashRptSettings {
  public:
    /// The user's answer to the question if reports may be sent. The values are fixed: they are
    /// stored and compared.
    enum ConsentType {
        CONSENT_NOT_ASKED = 0,  ///< not known yet; the consent form gives the answer
        CONSENT_GIVEN = 1,      ///< reports may be sent
        CONSENT_LATER = 2,      ///< reports are filed, to be sent later
        CONSENT_REFUSED = 3,    ///< no report is sent or filed
    };

    /// How a report's upload ended; the suffix of its file in the backup store.
    enum RptBackupStatus {
        SEND_SUCCESS = 0,  ///< uploaded; "send_success"
        SEND_FAIL = 1,     ///< the upload failed; "send_fail"
        SEND_LATER = 2,    ///< not sent now; "send_later"
    };

    /// What a report handler searches the crash store for.
    enum ReportType {
        MANGLED_STACK_TRACE = 0,    ///< raw traces, which become stack-trace logs
        COMPLETE_CRASH_REPORT = 1,  ///< finished reports
    };

    // --- Switches -------------------------------------------------------------------------

    /// Returns true when "CRPT_OFF" switches reporting off: it is set to any value, even an empty
    /// one, except exactly "false".
    static bool isCrptEnvironVarOff();
    /// Returns true when the platform library says that this machine is on the maker's own network.
    static bool isRunningOnInternalHost();
    /// Returns false for products without crash reporting. Letter case matters.
    static bool isSupportedProduct(const std::string& product);
    /// Returns true when reporting is not switched off, the machine is inside the maker's network
    /// and the product is supported, tested in this order.
    static bool isCrashReporterEnabled(const std::string& product);
    /// Returns true when "CRPT_ALREADY_RUNNING" is exactly "true".
    static bool isCrptAlreadyRunning();
    /// Sets "CRPT_ALREADY_RUNNING" to "true" for this process and the processes that it starts from
    /// now on.
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
    /// "CrashReport_", the beginning of the names of finished reports
    static std::string getCrashRptPrefix();
    /// "hs_mangled_err_pid", the beginning of the names of raw traces
    static std::string getMangledStackTraceFilePrefix();
    /// "hs_err_pid", the beginning of the names of stack-trace logs
    static std::string getDemangledStackTraceFilePrefix();
    /// 30, the number of reports that one pass of the crash reporter uploads at most
    static int getMaxRptsToSend();

    // --- Directories and files ------------------------------------------------------------
    // "ZEB_SESSION_INFO" contains the launch directory and the session id, separated by the first
    // ":". Parts are joined with one separator and never normalised, so an empty part leaves two
    // separators side by side.

    /// Returns the launch directory L; empty when "ZEB_SESSION_INFO" is unset, the whole value when
    /// it has no colon.
    static std::string getSessionLaunchDir();
    /// Returns the session id S, the text after the first colon; empty when "ZEB_SESSION_INFO" is
    /// unset, the whole value when it has no colon.
    static std::string getSessionId();
    /// L/.crashReporter
    static std::string getCrashReporterScratchDir();
    /// L/.crashReporter/S
    static std::string getCrashReporterSessionDir();
    /// The same directory, where the crash reporter's log lies
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
    /// Returns the full path of a program shipped with the product; empty when it is missing or
    /// this user may not execute it.
    static std::string getAppPath(const std::string& name);
};

/// Asks the user for consent to sending.
class HCRPT_EXPORT HCrashRptConsentForm {
  public:
    /// Returns CONSENT_GIVEN: there is no dialog.
    static HCrashRptSettings::ConsentType getCustomerConsent();
};

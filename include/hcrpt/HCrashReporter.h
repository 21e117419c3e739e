/// @file
/// Entry points of host applications and of the crash reporter.
///
/// A host calls, once, on its start-up thread:
/// @code
///   if (HCrashReporter::isEnabled(product)) {
///       HCrashReporter::registration();
///       const pid_t self = getpid();
///       const bool launched = HCrashReporter::launchCrashReporter();
///       if (getpid() != self) _exit(127);  // a copy of the host whose exec failed
///       if (launched) HCrashReporter::registerThisProcess();
///   }
/// @endcode
/// The second registration serves a fresh session, in which the file to register in exists only
/// once the crash reporter has started.
#pragma once

#include <string>
#include <unordered_set>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrptExport.h"

/// Grade of all operations, where no other is named: @ordinary. One thread.
namespace HCrashReporter {

/// Identity of a registered process, from a record "<hostname>:<pid>".
class HCRPT_EXPORT HClientProcessInfo {
  public:
    HClientProcessInfo();
    /// The process id comes first.
    HClientProcessInfo(const std::string& procId, const std::string& hostName);
    /// A record may stand wherever an identity is asked for.
    // NOLINTNEXTLINE(google-explicit-constructor)
    HClientProcessInfo(const std::string& line);

    /// The text before the first ":"; the whole text when there is none.
    std::string extractHostName(const std::string line) const;
    /// The text after the first ":"; the whole text when there is none.
    std::string extractProcId(const std::string line) const;

    bool operator==(const HClientProcessInfo& other) const;
    std::string getProcessId() const;
    std::string getHostName() const;

  private:
    std::string m_processId;
    std::string m_hostName;
};

/// Records that this process has announced in its log; only grows.
extern HCRPT_EXPORT std::unordered_set<std::string> registeredProcSet;
/// The user's consent, asked once per process.
extern HCRPT_EXPORT HCrashRptSettings::ConsentType consentType;

// --- Host application ---------------------------------------------------------------------

/// Registers this process, then installs the crash handlers, whether or not it could register.
/// Takes about 2 seconds when there is no registration file, 3 when its lock is held. An alternate
/// stack of more than 8,192 bytes that the thread had before stays its alternate stack.
HCRPT_EXPORT void registration();
/// Appends this process's record to the registration file, for which it waits up to 2 seconds and
/// which it never creates. Silent.
/// @return whether the record was written.
HCRPT_EXPORT bool registerThisProcess();
/// Appends this process's record to the file under an exclusive lock, tried three times.
/// @return whether the lock was had; false as well when the file cannot be opened. Silent.
HCRPT_EXPORT bool writeProcIdToFile(std::string path);
/// HCrashRptSettings::isCrashReporterEnabled()
HCRPT_EXPORT bool isEnabled(const std::string& product);
/// Starts the crash reporter unless reporting is off, one runs already ("CRPT_ALREADY_RUNNING") or
/// its program is missing. Silent. The program gets an argument vector without any entry.
/// @return whether it was started. In a child whose exec failed this returns false too: compare the
///         process id before and after, and end the copy.
HCRPT_EXPORT bool launchCrashReporter();

/// Gives the calling thread an alternate signal stack of its own, so that a stack overflow on it is
/// reported too. The thread that calls registration() has one already; other threads call this
/// once, or the application preloads or links libzeb_HCrashReporterThreads.so, which does it for
/// every new thread. The stack is released when the thread ends; a larger one that it has already
/// is left alone. Any thread.
/// @return whether the thread has a sufficient alternate stack now.
HCRPT_EXPORT bool registerThisThread();

// --- Crash reporter -------------------------------------------------------------------------

/// Installs the crash handlers and ignores SIGINT.
HCRPT_EXPORT void installSelfSignalHandler();
/// Makes an empty registration file in a fresh crash store, unless an older one is still needed.
/// Redirects standard output into the log on the way. Prints what it did.
/// @return false when a fresh, empty registration file exists now; true otherwise.
HCRPT_EXPORT bool createProcessRegistrationFile();
/// Whether no registered process of this machine runs and no report waits. Announces records that
/// are new, once standard output has been redirected. Takes up to 15 seconds while the
/// registration file is empty.
HCRPT_EXPORT bool isExitCondition();
/// One pass: demangles raw traces, uploads the waiting reports and files each in the backup
/// store; ends after 30 successful uploads.
/// @return false only when the user refused.
HCRPT_EXPORT bool probeAndSendCrashReports();
/// For good: a pass that runs ends after the report that it is at, and those that begin later leave
/// all reports where they are. Raw traces are demangled as before. @signalsafe
HCRPT_EXPORT void stopAfterThisReport();
/// Whether a report waits. Makes raw traces readable on the way.
HCRPT_EXPORT bool hasCrashReports();
/// Asks for consent unless it is known.
/// @return false when refused; sets status to SEND_LATER when the answer is "later".
HCRPT_EXPORT bool getConsentAndBackupStatus(HCrashRptSettings::ConsentType& consent,
                                            HCrashRptSettings::RptBackupStatus& status);

// --- The same operations of HCrashRptUtils, so that programs need this header only -----------

HCRPT_EXPORT void deleteCrashReporterDir();
HCRPT_EXPORT void redirectStdoutToCrashLog();
HCRPT_EXPORT void closeCrashLogFile();
HCRPT_EXPORT void deleteCrashStore();
HCRPT_EXPORT void sleep(int seconds);
HCRPT_EXPORT std::string timestamp();

}  // namespace HCrashReporter

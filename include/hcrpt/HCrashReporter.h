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
/// @endcode The second registration is for a fresh session, where the registration file does not
/// exist before the crash reporter has started.
#pragma once

#include <string>
#include <unordered_set>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrptExport.h"

/// Grade of all operations without another mark: @ordinary. Threads: one, unless stated otherwise.
namespace HCrashReporter {

/// Identity of a registered process, from a record "<hostname>:<pid>".
class HCRPT_EXPORT HClientProcessInfo {
  public:
    HClientProcessInfo();
    /// Takes the process id first, unlike a record.
    HClientProcessInfo(const std::string& procId, const std::string& hostName);
    /// Converts a record "<hostname>:<pid>"; implicit, so that a record can be passed as an
    /// identity.
    // NOLINTNEXTLINE(google-explicit-constructor)
    HClientProcessInfo(const std::string& line);

    /// Returns the text before the first ":"; the whole text when it has no ":".
    std::string extractHostName(const std::string line) const;
    /// Returns the text after the first ":"; the whole text when it has no ":".
    std::string extractProcId(const std::string line) const;

    bool operator==(const HClientProcessInfo& other) const;
    std::string getProcessId() const;
    std::string getHostName() const;

  private:
    std::string m_processId;
    std::string m_hostName;
};

/// Records that this process has announced in its log. Records are never removed.
extern HCRPT_EXPORT std::unordered_set<std::string> registeredProcSet;
/// The user's consent. Each process asks for it once.
extern HCRPT_EXPORT HCrashRptSettings::ConsentType consentType;

// --- Host application ---------------------------------------------------------------------

/// Registers this process, then installs the crash handlers, even when the registration failed.
/// Takes about 2 seconds when there is no registration file, 3 when another process holds its lock.
/// An alternate stack of more than 8,192 bytes that the thread had before stays its alternate
/// stack.
HCRPT_EXPORT void registration();
/// Appends this process's record to the registration file. Waits up to 2 seconds for that file and
/// never creates it. No messages.
/// @return true when the record was written.
HCRPT_EXPORT bool registerThisProcess();
/// Appends this process's record to the file under an exclusive lock, which it tries to take three
/// times. No messages.
/// @return true when the lock was taken; false otherwise, also when the file cannot be opened.
HCRPT_EXPORT bool writeProcIdToFile(std::string path);
/// Returns HCrashRptSettings::isCrashReporterEnabled() of the product.
HCRPT_EXPORT bool isEnabled(const std::string& product);
/// Starts the crash reporter unless reporting is off, a crash reporter runs already
/// ("CRPT_ALREADY_RUNNING") or the program is missing. The program gets an empty argument vector.
/// No messages.
/// @return true when it was started. If exec fails, the call also returns in the child, with false:
///         compare the process id before and after the call, and end the copy.
HCRPT_EXPORT bool launchCrashReporter();

/// Gives the calling thread an alternate signal stack, so that a stack overflow on that thread is
/// reported, too. The thread that calls registration() has one already. Other threads call this
/// once, or the application preloads or links libzeb_HCrashReporterThreads.so, which registers
/// every new thread. The stack is freed when the thread ends. A larger alternate stack that the
/// thread has already stays in use. Threads: any.
/// @return true when the thread has a sufficient alternate stack now.
HCRPT_EXPORT bool registerThisThread();

// --- Crash reporter -------------------------------------------------------------------------

/// Installs the crash handlers and ignores SIGINT.
HCRPT_EXPORT void installSelfSignalHandler();
/// Creates a fresh crash store with an empty registration file, unless an earlier registration file
/// is still needed. Before that it redirects standard output into the log. Prints what it did.
/// @return false when a fresh, empty registration file exists now; true otherwise.
HCRPT_EXPORT bool createProcessRegistrationFile();
/// Returns true when no registered process of this machine runs and no report waits. Announces new
/// records once standard output has been redirected. Takes up to 15 seconds while the registration
/// file is empty.
HCRPT_EXPORT bool isExitCondition();
/// Runs one pass: demangles raw traces, uploads the waiting reports and files each of them in the
/// backup store. The pass ends after 30 successful uploads.
/// @return false when the user refused consent; otherwise true, also when uploads failed.
HCRPT_EXPORT bool probeAndSendCrashReports();
/// Stops uploads permanently. A running pass stops after its current report; later passes send
/// nothing and leave all reports in place. They still demangle raw traces. @signalsafe
HCRPT_EXPORT void stopAfterThisReport();
/// Demangles the raw traces and returns true when a report waits.
HCRPT_EXPORT bool hasCrashReports();
/// Asks for the user's consent unless it is known.
/// @return false when refused; sets status to SEND_LATER when the answer is "later".
HCRPT_EXPORT bool getConsentAndBackupStatus(HCrashRptSettings::ConsentType& consent,
                                            HCrashRptSettings::RptBackupStatus& status);

// --- The operations of HCrashRptUtils, so that programs need only this header -----------

HCRPT_EXPORT void deleteCrashReporterDir();
HCRPT_EXPORT void redirectStdoutToCrashLog();
HCRPT_EXPORT void closeCrashLogFile();
HCRPT_EXPORT void deleteCrashStore();
HCRPT_EXPORT void sleep(int seconds);
HCRPT_EXPORT std::string timestamp();

}  // namespace HCrashReporter

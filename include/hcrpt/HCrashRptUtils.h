/// @file
/// File, lock, process and time helpers; the crash store; demangling of trace lines.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrptExport.h"

/// Helpers without state, except redirectedStdOut. Failures are results; unless stated otherwise
/// the only exceptions are the standard ones of exhausted memory. Messages go to standard output,
/// one flushed line each.
namespace HCrashRptUtils {

/// True once redirectStdoutToCrashLog() has run in this process; never reset.
extern HCRPT_EXPORT bool redirectedStdOut;

// --- Files and locks ----------------------------------------------------------------------

/// Opens an existing file for appending; never creates it. @signalsafe
/// @return the descriptor, or -1.
HCRPT_EXPORT int fileOpen(const std::string& path);
/// Calls close(). @signalsafe @return close()'s result.
HCRPT_EXPORT int fileClose(int fd);
/// Calls write() once with the whole text; does not continue after a short write. @signalsafe
/// @return write()'s result.
HCRPT_EXPORT ssize_t fileWrite(int fd, const std::string& data);
/// Takes or releases the advisory lock of the whole file. @signalsafe
/// @param mode exactly "LOCK_EX|LOCK_NB" (exclusive, without waiting) or "LOCK_UN".
/// @return flock()'s result: 0, or -1 with errno (EWOULDBLOCK when another process holds the lock).
///         Any other mode gives -1 without a call of flock().
HCRPT_EXPORT int fileLock(int fd, const std::string& mode);
/// Returns true when the file is empty or cannot be opened. A named pipe counts as empty; it is not
/// opened, because that could block forever.
HCRPT_EXPORT bool isFileEmpty(std::string path);
/// Removes an empty report.
/// @return false when the file has content and is to be sent. Otherwise removes the file (an empty
///         path removes nothing), prints "[Crash Reporter] Empty crash report not sent." and
///         returns true.
HCRPT_EXPORT bool handleIfEmptyFile(std::string path);

// --- Processes ------------------------------------------------------------------------------

/// Returns true when "/proc/" + pid exists. The text is not validated: an empty text names /proc
/// itself and counts as running.
HCRPT_EXPORT bool isProcessRunning(const std::string& pid);
/// Starts a program and does not wait for it. The argument vector consists of exactly the given
/// texts, so the first one is the program's argv[0]; the list may be empty. The vector lies in the
/// crash-time arena and is never freed.
/// @return in the parent: true, or false when fork() failed. In the child: false when exec failed;
///         the child then continues with the caller's code.
HCRPT_EXPORT bool forkNewProcess(const std::string& program, std::vector<std::string>& arguments);

// --- Time -----------------------------------------------------------------------------------

/// Sleeps for whole seconds, also when signals interrupt it. Returns at once for less than 1.
/// @signalsafe
HCRPT_EXPORT void sleep(int seconds);
/// Returns the local time in asctime()'s layout without the line feed. @crashtime
/// @throws std::logic_error when the time has no such text; so does getCurrentTime().
HCRPT_EXPORT std::string timestamp();
/// Returns the current time in ctime()'s layout without the line feed. @crashtime
HCRPT_EXPORT std::string getCurrentTime();

// --- The crash reporter's log ---------------------------------------------------------------

/// Redirects standard output into "crashReporter<pid>.log" in the session directory, once per
/// process, and prints a line with process id, working directory and time. Does not create the
/// directory. If the log cannot be opened, messages stay on the console. One thread at a time.
HCRPT_EXPORT void redirectStdoutToCrashLog();
/// Closes standard output if it has been redirected; redirectedStdOut stays set. The process must
/// not print afterwards.
HCRPT_EXPORT void closeCrashLogFile();

// --- Texts ----------------------------------------------------------------------------------

/// Returns the text without its spaces (code 32); other white space stays.
HCRPT_EXPORT std::string deleteBlanks(std::string text);

// --- Crash store and backup store -----------------------------------------------------------

/// Creates the crash store and its parents unless it exists. @crashtime Prints "[Crash Reporter]
/// Error: Could not create crash store at: ..." when it does not exist afterwards.
/// @return true when it exists afterwards.
HCRPT_EXPORT bool createCrashStore();
/// Removes the crash store with all its content and prints the outcome.
HCRPT_EXPORT void deleteCrashStore();
/// Removes the ".crashReporter" tree of the launch directory with all its sessions. Prints a line
/// only on failure.
HCRPT_EXPORT void deleteCrashReporterDir();
/// Returns the full paths of those entries of a directory whose names begin with the prefix,
/// directories excluded, in the directory's own order. Empty when either text is empty or the path
/// is no directory.
HCRPT_EXPORT std::vector<std::string> getFilesWithPrefix(std::string prefix, std::string directory);
/// Returns "send_success", "send_fail" or "send_later"; empty for any other value.
HCRPT_EXPORT std::string backupStatusToString(HCrashRptSettings::RptBackupStatus status);
/// Moves a report to the backup store under its name, a dot and its status, and replaces an earlier
/// report of that name. Copies, prints "[Crash Reporter] Moved crash report to backup store at
/// ...", then removes the report, in this order and even when the copy failed. A copy that a full
/// disk cut short is kept. When the report is missing, only creates the backup store.
HCRPT_EXPORT void moveFileToBackupStore(std::string path,
                                        HCrashRptSettings::RptBackupStatus status);

// --- Lines of a stack trace -----------------------------------------------------------------

/// Removes everything up to the last "/" from the text, in place. A text whose last "/" is its
/// first character stays unchanged. @signalsafe
HCRPT_EXPORT void removeFullPathToLibrary(char* text);
/// Returns the line with the name between its first "(" and its first "+" demangled; the line
/// unchanged when that is no mangled name. A name stays unchanged if it is longer than 32 KiB, if
/// its demangled form is longer than 1 MiB, or if the demangler exceeds its time limit. For a name
/// that can expand greatly the function forks a child and waits for it.
///
/// | input | result |
/// |---|---|
/// | `libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]` | `libfoo.so(foo::bar()+0x1a)[0x7f00]` |
/// | `libc.so.6(abort+0x12b)[0x7f00]` | unchanged |
/// | `libx++.so(_Z1fv+0x1)[0x7f00]` | unchanged: the first "+" stands before the "(" |
HCRPT_EXPORT std::string demangle(const std::string& line);

}  // namespace HCrashRptUtils

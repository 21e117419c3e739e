/// @file
/// File, lock, process and time helpers; the crash store; demangling of trace lines.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "hcrpt/HCrashRptSettings.h"
#include "hcrpt/HCrptExport.h"

/// Stateless helpers, but for redirectedStdOut. Failures are results; nothing is thrown but the
/// standard exceptions of exhausted memory, where no other is named. Messages go to standard
/// output, one flushed line each.
namespace HCrashRptUtils {

/// True once redirectStdoutToCrashLog() has run in this process; never reset.
extern HCRPT_EXPORT bool redirectedStdOut;

// --- Files and locks ----------------------------------------------------------------------

/// Opens an existing file for appending; never creates it. @signalsafe
/// @return the descriptor, or -1.
HCRPT_EXPORT int fileOpen(const std::string& path);
/// close(). @signalsafe
HCRPT_EXPORT int fileClose(int fd);
/// One write() of the whole text; a short write is not repeated. @signalsafe
/// @return write()'s result.
HCRPT_EXPORT ssize_t fileWrite(int fd, const std::string& data);
/// Advisory lock of the whole file. @signalsafe
/// @param mode exactly "LOCK_EX|LOCK_NB" (exclusive, without waiting) or "LOCK_UN".
/// @return flock()'s result: 0, or -1 with errno (EWOULDBLOCK when held elsewhere); -1 without a
///         call for any other mode.
HCRPT_EXPORT int fileLock(int fd, const std::string& mode);
/// True when no first character can be read: the file is empty or cannot be opened. A named pipe is
/// not opened, which could take for ever, and counts as empty.
HCRPT_EXPORT bool isFileEmpty(std::string path);
/// Deals with a report that holds nothing.
/// @return false when the file has content, and is to be sent. Otherwise removes it (an empty path
///         removes nothing), prints "[Crash Reporter] Empty crash report not sent." and returns
///         true.
HCRPT_EXPORT bool handleIfEmptyFile(std::string path);

// --- Processes ------------------------------------------------------------------------------

/// True when "/proc/" + pid exists. The text is not validated: an empty one names /proc itself and
/// counts as running.
HCRPT_EXPORT bool isProcessRunning(const std::string& pid);
/// Starts a program and does not wait for it. The argument vector holds exactly the given texts, so
/// the first of them is the program's own argv[0]; none at all is accepted. It lives in the
/// crash-time arena and is never given back.
/// @return in the parent: true, or false when fork() failed. In the child, false when exec failed:
///         the child then goes on running the caller's code.
HCRPT_EXPORT bool forkNewProcess(const std::string& program, std::vector<std::string>& arguments);

// --- Time -----------------------------------------------------------------------------------

/// Sleeps whole seconds and goes on after signals; returns at once for less than 1. @signalsafe
HCRPT_EXPORT void sleep(int seconds);
/// Local time in asctime()'s layout without the line feed. @crashtime
/// @throws std::logic_error where the time has no such text; so does getCurrentTime().
HCRPT_EXPORT std::string timestamp();
/// Current time in ctime()'s layout without the line feed. @crashtime
HCRPT_EXPORT std::string getCurrentTime();

// --- The crash reporter's log ---------------------------------------------------------------

/// Sends standard output into "crashReporter<pid>.log" in the session directory, once per process,
/// and writes the line that says who started where and when. The directory is not made here; where
/// the log cannot be opened, messages stay on the console. One thread at a time.
HCRPT_EXPORT void redirectStdoutToCrashLog();
/// Closes standard output when it has been redirected; redirectedStdOut stays set. Nothing may be
/// printed afterwards.
HCRPT_EXPORT void closeCrashLogFile();

// --- Texts ----------------------------------------------------------------------------------

/// The text without its spaces (code 32); other white space stays.
HCRPT_EXPORT std::string deleteBlanks(std::string text);

// --- Crash store and backup store -----------------------------------------------------------

/// Makes the crash store and its parents unless it exists. @crashtime
/// Prints "[Crash Reporter] Error: Could not create crash store at: ..." when it does not exist
/// afterwards.
/// @return whether it exists afterwards.
HCRPT_EXPORT bool createCrashStore();
/// Removes the crash store with all that is in it and prints which way it ended.
HCRPT_EXPORT void deleteCrashStore();
/// Removes the launch directory's whole ".crashReporter" tree, all sessions included. Prints a line
/// on failure only.
HCRPT_EXPORT void deleteCrashReporterDir();
/// Full paths of the directory's entries, other than directories, whose names begin with the
/// prefix, in the directory's own order. Empty when either text is empty or it is no directory.
HCRPT_EXPORT std::vector<std::string> getFilesWithPrefix(std::string prefix, std::string directory);
/// "send_success", "send_fail" or "send_later"; empty for any other value.
HCRPT_EXPORT std::string backupStatusToString(HCrashRptSettings::RptBackupStatus status);
/// Moves a report to the backup store under its name, a dot and its status, replacing an earlier
/// one of that name. Copies, prints "[Crash Reporter] Moved crash report to backup store at ...",
/// then removes the report, in this order and whether or not the copy succeeded; of a copy that a
/// full disk cut short, the part is kept. Does nothing but make the backup store when the report is
/// missing.
HCRPT_EXPORT void moveFileToBackupStore(std::string path,
                                        HCrashRptSettings::RptBackupStatus status);

// --- Lines of a stack trace -----------------------------------------------------------------

/// Cuts everything up to the last "/" off the text, in place. A text whose last "/" is its first
/// character stays as it is. @signalsafe
HCRPT_EXPORT void removeFullPathToLibrary(char* text);
/// The line with the name between its first "(" and its first "+" demangled, or the line unchanged
/// when that is no mangled name. A name of more than 32 KiB, or whose demangled form is longer than
/// 1 MiB or takes the demangler more than a moment, stays as it is. May fork a child for a name
/// that can expand by much, and waits for it.
///
/// | input | result |
/// |---|---|
/// | `libfoo.so(_ZN3foo3barEv+0x1a)[0x7f00]` | `libfoo.so(foo::bar()+0x1a)[0x7f00]` |
/// | `libc.so.6(abort+0x12b)[0x7f00]` | unchanged |
/// | `libx++.so(_Z1fv+0x1)[0x7f00]` | unchanged: the first "+" stands before the "(" |
HCRPT_EXPORT std::string demangle(const std::string& line);

}  // namespace HCrashRptUtils

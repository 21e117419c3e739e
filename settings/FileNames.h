/// @file
/// Names of the files in the session directory, the crash store and the backup store. All other
/// folders take these names from here.
#pragma once

namespace hcrpt {

// --- Crash store ---
inline constexpr char kReportPrefix[] = "CrashReport_";
inline constexpr char kReportExtension[] = ".json";
inline constexpr char kRawTracePrefix[] = "hs_mangled_err_pid";
inline constexpr char kTraceLogPrefix[] = "hs_err_pid";
/// A raw trace's name without this mark is the name of its stack-trace log.
inline constexpr char kRawTraceMark[] = "mangled_";
inline constexpr char kTraceExtension[] = ".log";
inline constexpr char kRegistrationFile[] = "processRegFile.txt";
/// The name is hidden, so that no listing of traces or reports finds process facts.
inline constexpr char kFactsPrefix[] = ".processfacts_";

// --- Files that are being written, in both stores ---
/// The writer's process id and "-" follow. See AtomicFile.
inline constexpr char kAtomicFilePrefix[] = ".hcrpt-";
/// The writer's process id and "_" follow. The platform library writes these copies.
inline constexpr char kCrashCopyPrefix[] = ".crashcopy_";

// --- Backup store: follow a report's name and "." ---
inline constexpr char kSentSuffix[] = "send_success";
inline constexpr char kFailedSuffix[] = "send_fail";
inline constexpr char kLaterSuffix[] = "send_later";

// --- Session directory ---
inline constexpr char kSessionLock[] = "reporter.lock";
/// The crash reporter's process id and kTraceExtension follow.
inline constexpr char kReporterLogPrefix[] = "crashReporter";
/// An earlier session's crash store while a fresh store takes its place.
inline constexpr char kStoreAside[] = ".crashStore.old";

}  // namespace hcrpt

/// @file
/// One death in which one system call fails, and what it leaves.
#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "crash/SystemCallTrace.h"

namespace crash_test {

// Files in a record, and what calls are about. Paths are relative to the launch directory.
constexpr char kRawTrace[] = "hs_mangled_err_pid<pid>.log";
constexpr char kLogCopy[] = "hs_err_pid<pid>.log";
constexpr char kDump[] = "failing_pid<pid>.str";
constexpr char kStore[] = ".crashReporter/1/crashStore";
constexpr char kRawTraceCopy[] = ".crashReporter/1/crashStore/hs_mangled_err_pid<pid>.log";
constexpr char kLog[] = ".crashReporter/1/crashStore/hs_err_pid<pid>.log";
constexpr char kReport[] = ".crashReporter/1/crashStore/CrashReport";
constexpr char kStdout[] = "stdout";
constexpr char kPipe[] = "pipe";
// Files that are renamed once they are whole.
constexpr char kRawTraceCopyBegun[] = ".crashReporter/1/crashStore/.crashcopy";
constexpr char kLogCopyBegun[] = "./.crashcopy";
constexpr char kReportBegun[] = ".crashReporter/1/crashStore/.hcrpt";

/// Items in order, values as JSON.
using Report = std::vector<std::pair<std::string, std::string>>;

/// What a death leaves, without what differs from one to the next: ids, addresses, times, amounts
/// of memory.
struct Record {
    test_support::ExitState end;
    std::string output;
    std::map<std::string, std::string> files;  ///< made since the signal, but for the report
    std::optional<Report> report;
    std::size_t pauses = 0;  ///< of a second each, between looks for the stack-trace log

    bool operator==(const Record& other) const;
};
std::ostream& operator<<(std::ostream& out, const Record& record);

enum class Surroundings {
    usual,       ///< a null write
    hasPrinted,  ///< an abort; text of the host waits in stdio's buffer
    noStore,     ///< the crash store is missing
    noSession,   ///< no crash store can be made
};

struct Death {
    Surroundings surroundings = Surroundings::usual;
    Record record;
    std::vector<Call> calls;
    std::string firstTrace;  ///< what the raw trace held before the complete one was begun
};

/// Lets a host die. The stack-trace log is made in the pause after the raw trace has come into the
/// crash store.
Death dieWith(Surroundings surroundings, const std::optional<Fault>& fault);

}  // namespace crash_test

#include "crash/FaultCosts.h"

#include <fcntl.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <sstream>

namespace crash_test {
namespace {

constexpr std::size_t kPolls = 100;
constexpr char kNotice[] =
    "Following is a partial stack trace, only, likely due to stack corruption\n";

// --- Costs --------------------------------------------------------------------------------------

Cost nothing() {
    return {"nothing", [](Record&) {}};
}

void replace(std::string& text, const std::string& from, const std::string& to) {
    const std::size_t at = text.find(from);
    if (at != std::string::npos) text.replace(at, from.size(), to);
}

void setItem(Record& record, const std::string& key, const std::string& value) {
    for (auto& [name, old] : *record.report)
        if (name == key) old = value;
}

void removeItems(Record& record, const std::initializer_list<const char*>& keys) {
    Report& items = *record.report;
    for (const char* key : keys)
        items.erase(std::remove_if(items.begin(), items.end(),
                                   [&](const auto& item) { return item.first == key; }),
                    items.end());
}

/// A text in place of the stack-trace log, and of what the report has from it.
void setLog(Record& record, const std::string& log) {
    record.files[kLog] = record.files[kLogCopy] = log;
    std::string lines;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);)
        lines += (lines.empty() ? "\"" : ",\"") + line + '"';
    setItem(record, "stacktrace", "[" + lines + "]");
}

void setRawTrace(Record& record, const std::string& trace) {
    record.files[kRawTrace] = record.files[kRawTraceCopy] = trace;
}

std::string headerOf(const std::string& trace) {
    const std::string end = "Stack:\n";
    return trace.substr(0, trace.find(end) + end.size());
}

std::string framesOf(const std::string& trace) {
    const std::string frames = trace.substr(headerOf(trace).size());
    // A raw trace ends in a line of its own.
    const bool isRaw = frames.size() > 1 && frames.substr(frames.size() - 2) == "\n\n";
    return isRaw ? frames.substr(0, frames.size() - 1) : frames;
}

void removeTraceItems(Record& record) {
    removeItems(record, {"signalNumber", "subSystem", "functionName", "stacktrace"});
}

/// All but the first trace, which was written before.
Cost trace(const std::string& firstTrace) {
    return {"both traces, but for the interrupted instruction", [firstTrace](Record& record) {
                for (const char* name : {kRawTraceCopy, kLog, kLogCopy}) record.files.erase(name);
                record.files[kRawTrace] = firstTrace;
                removeTraceItems(record);
                replace(record.output,
                        "Please check this file for stacktrace: <directory>/hs_err_pid<pid>.log",
                        "Unable to write a stacktrace file, probably because current directory is "
                        "not writable.");
                record.pauses = 0;
            }};
}

Cost copyOfTrace() {
    return {"the stack-trace log", [](Record& record) {
                for (const char* name : {kRawTraceCopy, kLog, kLogCopy}) record.files.erase(name);
                removeTraceItems(record);
                replace(record.output, "hs_err_pid", "hs_mangled_err_pid");
                record.pauses = kPolls;
            }};
}

Cost copyOfLog() {
    return {"the log's copy in the working directory",
            [](Record& record) { record.files.erase(kLogCopy); }};
}

Cost workingDirectory() {
    return {"the log's copy in the working directory, and the directory in the message",
            [](Record& record) {
                record.files.erase(kLogCopy);
                replace(record.output, "<directory>/hs_err_pid", "/hs_err_pid");
            }};
}

Cost header() {
    return {"the header of both traces", [](Record& record) {
                const std::string raw = record.files[kRawTrace];
                const std::string log = record.files[kLog];
                setRawTrace(record, raw.substr(headerOf(raw).size()));
                setLog(record, framesOf(log));
                removeItems(record, {"signalNumber"});
            }};
}

Cost lastLineFeed() {
    return {"the raw trace's last line feed", [](Record& record) {
                const std::string raw = record.files[kRawTrace];
                setRawTrace(record, raw.substr(0, raw.size() - 1));
            }};
}

Cost framesStayTwice() {
    return {"nothing: the frames stand twice, with the notice of a partial trace",
            [](Record& record) {
                const std::string raw = record.files[kRawTrace];
                const std::string log = record.files[kLog];
                setRawTrace(record, headerOf(raw) + kNotice + framesOf(raw) + framesOf(raw) + "\n");
                setLog(record, headerOf(log) + kNotice + framesOf(log) + framesOf(log));
            }};
}

Cost zeroBytes() {
    return {"nothing: zero bytes stand before the frames", [](Record& record) {
                const std::string raw = record.files[kRawTrace];
                const std::string log = record.files[kLog];
                setRawTrace(record, headerOf(raw) + std::string(1, '\0') + framesOf(raw) + "\n");
                setLog(record, headerOf(log) + "\n" + framesOf(log));
            }};
}

Cost report(const std::string& message) {
    return {"the report", [message](Record& record) {
                record.report.reset();
                record.output += message;
            }};
}

Cost itemsFrom(const std::string& key) {
    return {"the report's items from a tool's first on", [key](Record& record) {
                Report& items = *record.report;
                const auto named = [&](const char* name) {
                    return std::find_if(items.begin(), items.end(),
                                        [&](const auto& item) { return item.first == name; });
                };
                items.erase(named(key.c_str()), std::next(named("memInfo")));
            }};
}

Cost value(const std::string& key, const std::string& rest) {
    return {"one value of the report",
            [key, rest](Record& record) { setItem(record, key, '"' + rest + '"'); }};
}

Cost text(const std::string& part) {
    return {"a part of the messages", [part](Record& record) { replace(record.output, part, ""); }};
}

// --- What a call is there for -------------------------------------------------------------------

/// How many calls of that number about that target there are before this one.
std::size_t ordinal(const Death& death, std::size_t index) {
    const Call& call = death.calls[index];
    return static_cast<std::size_t>(
        std::count_if(death.calls.begin(), death.calls.begin() + static_cast<std::ptrdiff_t>(index),
                      [&](const Call& other) {
                          return other.number == call.number && other.target == call.target;
                      }));
}

bool isFollowedBy(const Death& death, std::size_t index, long number) {
    return std::any_of(death.calls.begin() + static_cast<std::ptrdiff_t>(index), death.calls.end(),
                       [&](const Call& other) { return other.number == number; });
}

/// Returns true while traces are still being written and copied: the tools of the report come
/// later.
bool isOfTraces(const Death& death, std::size_t index) {
    return isFollowedBy(death, index, SYS_pipe2);
}

/// The item that the tool started next is for.
Cost nextTool(const Death& death, std::size_t index) {
    const char* const keys[] = {"totalMemoryUsage", "memoryUtilization", "cpuUtilization",
                                "osInfo"};
    std::size_t tool = 0;
    for (std::size_t i = 0; i < index; ++i)
        if (death.calls[i].number == SYS_execve) ++tool;
    return itemsFrom(keys[tool]);
}

Cost nextMessage(const Death& death, std::size_t index) {
    const std::string first =
        "Error: Abnormal program termination (" +
        std::string(death.surroundings == Surroundings::hasPrinted ? "6" : "11") +
        ") of process id <pid>. ";
    const std::string where = "Please check this file for stacktrace: ";
    const std::string noStore =
        "[Crash Reporter] Error: Could not create crash store at: <directory>/.crashReporter/1/"
        "crashStore Please check folder path exists or has write permission.\n";
    std::vector<std::string> parts = {first, where, "<directory>", "/", "hs_err_pid<pid>.log",
                                      "\n"};
    if (death.surroundings == Surroundings::noSession)
        parts = {
            first,
            noStore,
            where,
            "<directory>/hs_mangled_err_pid<pid>.log",
            "\n",
            "[Crash Reporter] Could not copy hs_mangled_err_pid<pid>.log in the crash store in "
            "absence of a crashStore\n",
            noStore,
            "[Crash Reporter] Could not create crash log in the absence of a crashStore\n"};
    const std::size_t part = ordinal(death, index);
    // What was put into a buffer is written at the end.
    if (death.surroundings == Surroundings::hasPrinted &&
        (death.calls[index].number == SYS_write || part == parts.size()))
        return {"all messages", [](Record& record) { record.output.clear(); }};
    if (death.surroundings == Surroundings::noSession && part == 4)
        return {"a part of the messages", [](Record& record) {
                    replace(record.output, "err_pid<pid>.log\n", "err_pid<pid>.log");
                }};
    if (death.surroundings == Surroundings::noSession && part == 6)
        return {"a part of the messages", [noStore](Record& record) {
                    record.output.erase(record.output.rfind(noStore), noStore.size());
                }};
    if (parts[part] == "\n")
        return {"a part of the messages", [](Record& record) { record.output.pop_back(); }};
    if (parts[part] == "/")
        return {"a part of the messages",
                [](Record& record) { replace(record.output, "<directory>/", "<directory>"); }};
    return text(parts[part]);
}

Cost dump() {
    return {"the dump of the user interface",
            [](Record& record) { removeItems(record, {"GuiStrDump"}); }};
}

Cost costOfOpen(const Death& death, std::size_t index) {
    const Call& call = death.calls[index];
    const std::string& target = call.target;
    if (target == kRawTrace)
        return (call.arguments[2] & O_CREAT) != 0 ? trace(death.firstTrace) : copyOfTrace();
    if (target == kStore || target == kRawTraceCopyBegun) return copyOfTrace();
    if (target == "." || target == kLogCopyBegun) return copyOfLog();
    if (target == kLog && isOfTraces(death, index)) return copyOfLog();
    if (target == kLog)
        return {"the report's items of the trace", [](Record& record) {
                    removeItems(record, {"signalNumber", "subSystem", "functionName"});
                    setItem(record, "stacktrace", "\"\"");
                    record.output +=
                        "\nCould not open hs_err_pid*.log file for updating crash report\n";
                }};
    if (target == kReportBegun)
        return report(
            "[Crash Reporter] Error: Could not open crash report file for write:<directory>/" +
            std::string(kReport) + "\n");
    if (target == "/proc/cpuinfo") return value("cpuInfo", "");
    if (target == "/proc/meminfo") return value("memInfo", "");
    if (target == kDump) return dump();
    return nothing();
}

Cost costOfRead(const Death& death, std::size_t index) {
    const std::string& target = death.calls[index].target;
    if (target == kRawTrace) return copyOfTrace();
    if (target == kLog && isOfTraces(death, index)) return copyOfLog();
    // All has been read when the end is looked for.
    if (death.calls[index].result == 0) return nothing();
    if (target == kLog)
        return {"the report's items of the trace", [](Record& record) {
                    removeItems(record, {"signalNumber"});
                    for (const char* key : {"subSystem", "functionName", "stacktrace"})
                        setItem(record, key, "\"\"");
                }};
    if (target == "/proc/cpuinfo") return value("cpuInfo", "");
    if (target == "/proc/meminfo") return value("memInfo", "");
    if (target == kDump) return value("GuiStrDump", "");
    if (target != kPipe) return nothing();
    std::size_t tools = 0;
    for (std::size_t i = 0; i < index; ++i)
        if (death.calls[i].number == SYS_execve) ++tools;
    const std::pair<const char*, const char*> values[] = {{"totalMemoryUsage", ""},
                                                          {"memoryUtilization", " %"},
                                                          {"cpuUtilization", " %"},
                                                          {"osInfo", " x86_64"}};
    return value(values[tools - 1].first, values[tools - 1].second);
}

Cost costOfWrite(const Death& death, std::size_t index) {
    const Call& call = death.calls[index];
    if (call.target == kStdout) return nextMessage(death, index);
    if (call.target == kRawTraceCopyBegun) return copyOfTrace();
    if (call.target == kLogCopyBegun) return copyOfLog();
    if (call.target == kReportBegun) return report("");
    if (call.target != kRawTrace) return nothing();
    if (death.calls[index - 1].number == SYS_openat) return header();
    return call.result == 1 ? lastLineFeed() : nothing();
}

Cost costOfClose(const Death& death, std::size_t index) {
    const std::string& target = death.calls[index].target;
    if (target == kRawTraceCopyBegun) return copyOfTrace();
    if (target == kLogCopyBegun) return copyOfLog();
    // The first descriptor has only made the file.
    if (target == kReportBegun && ordinal(death, index) == 1) return report("");
    return nothing();
}

Cost costOfStat(const Death& death, std::size_t index) {
    if (death.calls[index].target == kDump) return dump();
    const Call& call = death.calls[index];
    const bool isOpen = (call.arguments[3] & AT_EMPTY_PATH) != 0;
    const Cost notWriteable = report("[Crash Reporter] Error: file <directory>/" +
                                     std::string(kReport) + " is not writable.\n");
    if (call.target == kRawTrace) return copyOfTrace();
    if (call.target == kLog && isOpen) return copyOfLog();
    if (call.target == kLog && isOfTraces(death, index)) {
        if (call.result != 0) return nothing();
        return {"nothing: one more pause", [](Record& record) { ++record.pauses; }};
    }
    if (call.target == kLog) return {"the report's items of the trace", removeTraceItems};
    if (call.target == kReport && ordinal(death, index) == 0) return notWriteable;
    // The directory of the report, after the report itself has not been found.
    if (call.target == kStore && death.calls[index - 1].target == kReport) return notWriteable;
    return nothing();
}

/// Returns true when the call is one of the first trace, which the complete one replaces.
bool isOfFirstTrace(const Death& death, std::size_t index) {
    if (death.calls[index].target != kRawTrace) return false;
    const auto opened = std::count_if(
        death.calls.begin(), death.calls.begin() + static_cast<std::ptrdiff_t>(index) + 1,
        [](const Call& call) {
            return call.number == SYS_openat && call.target == kRawTrace &&
                   (call.arguments[2] & O_CREAT) != 0;
        });
    return opened < 2;
}

}  // namespace

Cost costOf(const Death& death, const Fault& fault) {
    const std::size_t index = fault.call;
    const Call& call = death.calls[index];
    if (isOfFirstTrace(death, index)) return nothing();
    if (call.number == SYS_clock_nanosleep)
        return {"nothing: the pause goes on", [](Record& record) { ++record.pauses; }};
    if (!fault.error || *fault.error == EINTR) return nothing();
    switch (call.number) {
        case SYS_openat:
            return costOfOpen(death, index);
        case SYS_read:
            return costOfRead(death, index);
        case SYS_write:
            return costOfWrite(death, index);
        case SYS_close:
            return costOfClose(death, index);
        case SYS_newfstatat:
            return costOfStat(death, index);
        case SYS_faccessat2:
            return report("[Crash Reporter] Error: file <directory>/" + std::string(kReport) +
                          " is not writable.\n");
        case SYS_rename:
            return report("");
        case SYS_renameat:
            return call.target == kRawTraceCopy ? copyOfTrace() : copyOfLog();
        case SYS_poll:
            // Without it a tool's output is read at once, and waited for there.
            return call.target == kPipe ? nothing() : nextMessage(death, index);
        case SYS_ftruncate:
            return framesStayTwice();
        case SYS_lseek:
            if (!call.inChild) return framesStayTwice();
            return call.arguments[2] == SEEK_SET ? zeroBytes() : nothing();
        case SYS_getcwd:
            return workingDirectory();
        case SYS_clone:
            if (isFollowedBy(death, index, SYS_ftruncate))
                return {"nothing: the walk takes place without a child", nullptr};
            return nothing();
        case SYS_pipe2:
        case SYS_clone3:
        case SYS_execve:
        case SYS_dup2:
            return nextTool(death, index);
        case SYS_mmap:
            // A stack for the child that starts the tool.
            return isFollowedBy(death, index, SYS_clone3) ? nextTool(death, index) : nothing();
        case SYS_uname:
            return {"one value of the report", [](Record& record) {
                        for (auto& [name, old] : *record.report)
                            if (name == "osInfo") replace(old, " x86_64", "");
                    }};
        default:
            return nothing();
    }
}

bool isOfInterest(const Death& death, std::size_t index) {
    const Call& call = death.calls[index];
    switch (death.surroundings) {
        case Surroundings::usual:
            return true;
        case Surroundings::hasPrinted:
            return call.target == kStdout;
        case Surroundings::noStore:
            return call.number == SYS_mkdir || call.target == kStore;
        case Surroundings::noSession:
            return call.target == kStdout && call.number == SYS_write;
    }
    return false;
}

}  // namespace crash_test

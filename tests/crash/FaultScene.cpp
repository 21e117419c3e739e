#include "crash/FaultScene.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "crash/CrashScene.h"
#include "hcrpt/HCrashReportMgr.h"
#include "support/TempDir.h"

namespace fs = std::filesystem;

namespace crash_test {
namespace {

constexpr std::size_t kTimestampSize = sizeof R"("Sat Nov 21 09:10:41 2026")" - 1;

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

/// Cuts what stands behind a start, as long as it consists of these characters.
void cutBehind(std::string& text, const std::string& start, const std::string& characters) {
    for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at)) {
        at += start.size();
        const std::size_t end = std::min(text.find_first_not_of(characters, at), text.size());
        text.erase(at, end - at);
    }
}

/// A run of digits becomes one.
void hideNumbers(std::string& text) {
    std::string hidden;
    for (const char c : text) {
        const bool isDigit = c >= '0' && c <= '9';
        if (!isDigit)
            hidden += c;
        else if (hidden.empty() || hidden.back() != '9')
            hidden += '9';
    }
    text = hidden;
}

/// Takes out what differs from one death to the next.
class Eraser {
  public:
    Eraser(pid_t pid, std::string directory)
        : m_pid(std::to_string(pid)), m_directory(std::move(directory)) {}

    std::string text(std::string text) const {
        replaceAll(text, m_directory, "<directory>");
        replaceAll(text, m_directory.substr(0, m_directory.rfind('/')), "<scene>");
        replaceAll(text, "pid" + m_pid, "pid<pid>");
        replaceAll(text, "process id " + m_pid, "process id <pid>");
        cutBehind(text, "CrashReport_" + m_pid, kNameCharacters);
        replaceAll(text, "CrashReport_" + m_pid, "CrashReport");
        cutBehind(text, "[0x", "0123456789abcdef");
        cutBehind(text, std::string(1, '\0'), std::string(1, '\0'));
        return text;
    }
    std::string path(std::string path) const {
        if (path == m_directory) return ".";
        path = text(path);
        if (path.rfind("<directory>/", 0) == 0) path.erase(0, sizeof "<directory>/" - 1);
        for (const char* start : {".hcrpt", ".crashcopy"}) {
            const std::size_t name = path.rfind('/') + 1;
            if (path.compare(name, std::string(start).size(), start) == 0)
                path = path.substr(0, name) + start;
        }
        // Names below an open directory.
        return path == ".crashcopy" ? kLogCopyBegun : path;
    }

  private:
    static constexpr char kNameCharacters[] =
        "_-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

    std::string m_pid;
    std::string m_directory;
};

Report itemsOf(const std::string& json) {
    rapidjson::Document document;
    document.Parse(json.data(), json.size());
    if (document.HasParseError() || !document.IsObject()) {
        ADD_FAILURE() << "half a report: " << json;
        return {};
    }
    Report items;
    for (const auto& member : document.GetObject()) {
        const std::string name = member.name.GetString();
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        member.value.Accept(writer);
        std::string value = buffer.GetString();
        if (name == "timestamp") value = value.size() == kTimestampSize ? "a time" : "half a time";
        if (name == "memInfo") hideNumbers(value);
        items.emplace_back(name, value);
    }
    return items;
}

std::set<std::string> filesBelow(const std::string& directory) {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(directory))
        if (entry.is_regular_file()) files.insert(entry.path().string());
    return files;
}

Record recordOf(const std::set<std::string>& files, const Eraser& eraser) {
    Record record;
    for (const std::string& path : files) {
        const std::string content = test_support::readFile(path);
        const std::string name = eraser.path(path);
        if (name == kReport)
            record.report = itemsOf(eraser.text(content));
        else
            record.files[name] = eraser.text(content);
    }
    return record;
}

void makeTool(const std::string& path, const std::string& output) {
    test_support::writeFile(path, "#!/bin/sh\necho '" + output + "'\n");
    chmod(path.c_str(), 0700);
}

}  // namespace

bool Record::operator==(const Record& other) const {
    return end == other.end && output == other.output && files == other.files &&
           report == other.report && pauses == other.pauses;
}

std::ostream& operator<<(std::ostream& out, const Record& record) {
    out << record.end << " after " << record.pauses << " pauses\n--- output\n" << record.output;
    for (const auto& [name, content] : record.files) out << "--- " << name << '\n' << content;
    out << "--- " << (record.report ? "report" : "no report") << '\n';
    for (const auto& [name, value] : record.report.value_or(Report()))
        out << name << ": " << value << '\n';
    return out;
}

Death dieWith(Surroundings surroundings, const std::optional<Fault>& fault) {
    const CrashScene scene;
    const std::string output = scene.directory / "output";
    const std::string tools = scene.directory / "tools";
    fs::create_directory(tools);
    // The same facts in each death, and quickly.
    makeTool(tools + "/ps", " 0.1  0.2");
    makeTool(tools + "/pmap", " total    2048K");
    // A crash reporter has made it; a host would wait for that.
    fs::create_directories(scene.store);
    test_support::writeFile(scene.store + "/processRegFile.txt", "");

    const bool aborts = surroundings == Surroundings::hasPrinted;
    SystemCallTrace::Program program;
    program.path = CRASH_SCENARIOS;
    program.argument = aborts ? "abort-after-output" : "null-write";
    program.fatalSignal = aborts ? SIGABRT : SIGSEGV;
    program.directory = scene.work;
    program.output = output;
    program.environment = scene.environment;
    program.environment["PATH"] = tools + ":" + std::getenv("PATH");

    SystemCallTrace trace;
    trace.fault = fault;
    pid_t host = -1;
    std::string copy;
    std::string firstTrace;
    std::set<std::string> before;
    trace.atFailure = [&](pid_t pid) {
        host = pid;
        const std::string id = std::to_string(pid);
        copy = scene.store + "/hs_mangled_err_pid" + id + ".log";
        test_support::writeFile(scene.work + "/failing_pid" + id + ".str", "File\nEdit\n");
        if (surroundings == Surroundings::noStore) fs::remove_all(scene.sessionDirectory);
        if (surroundings == Surroundings::noSession) {
            fs::remove_all(scene.work + "/.crashReporter");
            test_support::writeFile(scene.work + "/.crashReporter", "in its place");
        }
        before = filesBelow(scene.work);
    };
    trace.afterCall = [&](const Call& call) {
        if (call.number == SYS_fsync && firstTrace.empty())
            firstTrace = test_support::readFile(scene.work + "/hs_mangled_err_pid" +
                                                std::to_string(host) + ".log");
        if (call.number == SYS_clock_nanosleep && fs::exists(copy))
            HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(copy);
    };
    const test_support::ExitState end = trace.run(program);

    std::set<std::string> files = filesBelow(scene.work);
    for (const std::string& path : before) files.erase(path);
    const Eraser eraser(host, scene.work);
    Death death;
    death.surroundings = surroundings;
    death.record = recordOf(files, eraser);
    death.record.end = end;
    death.record.output = eraser.text(test_support::readFile(output));
    death.firstTrace = eraser.text(firstTrace);
    death.calls = trace.calls();
    for (Call& call : death.calls) {
        call.target = eraser.path(call.target);
        if (call.number == SYS_clock_nanosleep) ++death.record.pauses;
    }
    return death;
}

}  // namespace crash_test

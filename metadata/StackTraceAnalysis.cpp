// Reads a stack-trace log into the report and finds the failing function: the topmost frame of an
// in-house library, this library excepted, that is no function of the standard library.

#include <fstream>
#include <string_view>

#include "HUTFile.h"
#include "base/OpenStream.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "utils/Message.h"

namespace HCrashRptMetaData {
namespace {

constexpr auto npos = std::string::npos;

// Views have no destructor: a crash during the exit of the process still finds these texts.
constexpr std::string_view kErrorLine = "An unexpected error has occurred";
constexpr std::string_view kInHouse = "libzeb";
constexpr std::string_view kInHouseWithUnderscore = "libzeb_";
constexpr std::string_view kThisLibrary = "HCrashReporter";
constexpr std::string_view kStandardLibrary = "std::";

bool contains(const std::string& text, std::string_view part) {
    return text.find(part) != npos;
}

/// Returns the text between two positions, or up to its end when the second is npos or stands
/// before the first. A malformed line therefore never raises an exception.
std::string between(const std::string& text, std::size_t start, std::size_t end) {
    return text.substr(start, end < start ? npos : end - start);
}

/// Returns the position after the first occurrence of a character; 0 when there is none.
std::size_t after(const std::string& text, char character) {
    const std::size_t position = text.find(character);
    return position == npos ? 0 : position + 1;
}

std::string subsystemOf(const std::string& frame) {
    const std::size_t end = frame.find(".so");
    for (const std::string_view prefix : {kInHouseWithUnderscore, kInHouse}) {
        const std::size_t position = frame.find(prefix);
        if (position != npos) return between(frame, position + prefix.size(), end);
    }
    return "";
}

std::string functionOf(const std::string& frame) {
    return between(frame, after(frame, '('), frame.find('+'));
}

}  // namespace

bool Manager::addStackTraceToMetaDataTable(const std::string& path) {
    if (!HUTFile(path).exists()) return false;
    std::vector<TableNode*> lines;
    std::ifstream log;
    hcrpt::openStream(log, path, std::ios::in);
    if (!log.is_open()) {
        hcrpt::printRaw("\nCould not open hs_err_pid*.log file for updating crash report\n");
        addItem("stacktrace", lines);
        return false;
    }

    std::string subsystem;
    bool found = false;
    std::string line;
    while (std::getline(log, line)) {
        addItem(lines, line);
        if (contains(line, kErrorLine)) addItem("signalNumber", getSignalNumber(line));
        if (!found && contains(line, kInHouse) && !contains(line, kThisLibrary))
            addFailingFuncAndSubsystemName(line, subsystem, found);
    }
    if (!found) {
        addItem("subSystem", subsystem);
        addItem("functionName", std::string());
    }
    addItem("stacktrace", lines);
    return true;
}

void Manager::addFailingFuncAndSubsystemName(const std::string& line, std::string& subsystem,
                                             bool& found) {
    const std::size_t separator = line.find_last_of(HUTFile::getDirSeparator());
    const std::string frame = separator == npos ? line : line.substr(separator + 1);

    const std::string ownSubsystem = subsystemOf(frame);
    if (subsystem.empty()) subsystem = ownSubsystem;

    // Contract: a name need not be longer than "std::": shorter names such as "std:" count as
    // functions of the host.
    const std::string function = functionOf(frame);
    if (function.empty() || function.compare(0, kStandardLibrary.size(), kStandardLibrary) == 0)
        return;

    found = true;
    addItem("subSystem", ownSubsystem);
    addItem("functionName", function);
}

std::string Manager::getSignalNumber(std::string line) {
    return between(line, after(line, '('), line.find(')'));
}

}  // namespace HCrashRptMetaData

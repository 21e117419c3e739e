#include "metadata/ProbeParsers.h"

#include <algorithm>
#include <sstream>

namespace hcrpt {
namespace {

constexpr auto npos = std::string::npos;

constexpr const char* kPercent = " %";

/// Returns the text from a position on; empty when the position lies beyond the end.
std::string from(const std::string& text, std::size_t position) {
    return text.substr(std::min(position, text.size()));
}

/// Contract: removes the first character, even a digit: the columns are right-aligned and usually
/// begin with a fill blank.
std::string withoutFillBlank(const std::string& psOutput) {
    return from(psOutput, 1);
}

}  // namespace

std::string cpuModel(std::istream& cpuinfo) {
    const std::string name = "model name";
    std::string line;
    while (std::getline(cpuinfo, line)) {
        if (line.compare(0, name.size(), name) != 0) continue;
        // Contract: without ":", npos + 2 wraps to 1, and the result is the line without its first
        // character, as documented.
        return from(line, line.find(':') + 2);
    }
    return "";
}

std::string memoryTableLine(const std::string& line) {
    std::istringstream stream(line);
    std::string name;
    std::string value;
    std::getline(stream, name, ':');
    std::getline(stream, value, ':');
    // Contract: not guarded: for an empty or blank value this is substr(npos), which throws
    // std::out_of_range. The exception ends populate(), and the report is written with the items
    // added so far.
    return name + " : " + value.substr(value.find_first_not_of(' '));
}

std::string osInfo(const std::string& releaseLine, const std::string& machine) {
    return releaseLine + " " + machine;
}

std::string mapTotal(const std::string& summary) {
    const std::size_t blank = summary.rfind(' ');
    return blank == npos ? summary : summary.substr(blank + 1);
}

std::string cpuColumn(const std::string& psOutput) {
    const std::string columns = withoutFillBlank(psOutput);
    return columns.substr(0, columns.find(' ')) + kPercent;
}

std::string memoryColumn(const std::string& psOutput) {
    const std::string columns = withoutFillBlank(psOutput);
    const std::size_t blank = columns.find(' ');
    // Contract: always skips two characters, the blank between the columns and the fill blank of
    // the second column, even where the second is a digit.
    return (blank == npos ? columns : from(columns, blank + 2)) + kPercent;
}

std::string withoutProgramDirectory(const std::string& cmdline) {
    const std::string program = cmdline.substr(0, cmdline.find(' '));
    const std::size_t slash = program.find_last_of("/\\");
    return slash == npos ? cmdline : cmdline.substr(slash + 1);
}

std::string sourceScript(const std::string& cmdline) {
    const std::size_t option = cmdline.find("-source");
    if (option == npos) return "";
    const std::size_t blank = cmdline.find(' ', option);
    if (blank == npos) return "";
    const std::size_t start = cmdline.find_first_not_of(' ', blank);
    if (start == npos) return "";
    return cmdline.substr(start, cmdline.find(' ', start) - start);
}

}  // namespace hcrpt

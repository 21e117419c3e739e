// Facts about the machine and this process, from /proc and from shell commands. They run in a
// crashing process as best effort: a failure leaves an empty value, except for the exceptions that
// the public header names.

#include <sys/utsname.h>

#include <cstddef>
#include <fstream>

#include "HUTEnv.h"
#include "base/OpenStream.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/NodeMemory.h"
#include "metadata/Pipeline.h"
#include "metadata/ProbeParsers.h"

namespace HCrashRptMetaData {
namespace {

constexpr std::size_t kPieceSize = 128;  // bytes, with the terminating zero

/// Like fgets().
bool readPiece(hcrpt::Pipeline& command, char (&piece)[kPieceSize]) {
    std::size_t length = 0;
    while (length < kPieceSize - 1) {
        const int character = command.next();
        if (character < 0) break;
        piece[length++] = static_cast<char>(character);
        if (character == '\n') break;
    }
    piece[length] = '\0';
    return length > 0;
}

std::string ownPid() {
    return std::to_string(HUTEnv::getPid());
}

/// Returns the command that prints %cpu and %mem of this process in one line, without headings.
std::string utilizationCommand() {
    return "ps -p " + ownPid() + "  -o %cpu=,%mem=";
}

}  // namespace

std::string Manager::execLinuxCommand(std::string cmd) const {
    hcrpt::Pipeline command(cmd);
    std::string output;
    char piece[kPieceSize];
    while (readPiece(command, piece)) {
        output += piece;
        // Contract: drops the last character of each piece, whatever it is: the line end, but also
        // one character of a longer line at each border of pieces, and the last character of an
        // unfinished line.
        if (!output.empty()) output.pop_back();
    }
    // Readers of the report could take half an output for a fact.
    return command.isLate() ? std::string() : output;
}

std::string Manager::extract_cpuModel() const {
    std::ifstream cpuinfo;
    hcrpt::openStream(cpuinfo, "/proc/cpuinfo", std::ios::in);
    return hcrpt::cpuModel(cpuinfo);
}

std::vector<TableNode*> Manager::extract_memInfo() const {
    std::vector<TableNode*> lines;
    std::ifstream meminfo;
    hcrpt::openStream(meminfo, "/proc/meminfo", std::ios::in);
    std::string line;
    while (std::getline(meminfo, line)) {
        TableNode* node = hcrpt::newNode(hcrpt::memoryTableLine(line));
        if (node != nullptr) lines.push_back(node);
    }
    return lines;
}

std::string Manager::extract_osInfo() const {
    const std::string release = execLinuxCommand("cat /etc/*-release | head -n 1");
    struct utsname system = {};
    return uname(&system) == 0 ? hcrpt::osInfo(release, system.machine) : release;
}

std::string Manager::getTotalMemory() const {
    return hcrpt::mapTotal(execLinuxCommand("pmap " + ownPid() + " | tail -n 1"));
}

std::string Manager::getCpuUtilization() const {
    return hcrpt::cpuColumn(execLinuxCommand(utilizationCommand()));
}

std::string Manager::getMemoryUtilization() const {
    return hcrpt::memoryColumn(execLinuxCommand(utilizationCommand()));
}

}  // namespace HCrashRptMetaData

// Facts about the machine and this process, from /proc and from shell commands. These run in a
// crashing process as best effort: whatever fails leaves its value empty, but for the exceptions
// that the public header names.

#include <stdio.h>
#include <sys/utsname.h>

#include <cerrno>
#include <cstddef>
#include <fstream>
#include <stdexcept>

#include "HUTEnv.h"
#include "base/OpenStream.h"
#include "hcrpt/HCrashRptMetaData.h"
#include "metadata/NodeMemory.h"
#include "metadata/ProbeParsers.h"

namespace HCrashRptMetaData {
namespace {

constexpr std::size_t kPieceSize = 128;  // bytes, the final zero included

/// What fgets() does, but for signals: a handler of the host that interrupts the read (the end of
/// the command itself raises SIGCHLD) would cost fgets() the piece that it has begun.
bool readPiece(FILE* stream, char (&piece)[kPieceSize]) {
    std::size_t length = 0;
    while (length < kPieceSize - 1) {
        const int character = getc(stream);
        if (character == EOF) {
            if (ferror(stream) == 0 || errno != EINTR) break;
            clearerr(stream);
            continue;
        }
        piece[length++] = static_cast<char>(character);
        if (character == '\n') break;
    }
    piece[length] = '\0';
    return length > 0;
}

std::string ownPid() {
    return std::to_string(HUTEnv::getPid());
}

/// %cpu and %mem of this process without headings, in one line.
std::string utilizationCommand() {
    return "ps -p " + ownPid() + "  -o %cpu=,%mem=";
}

}  // namespace

std::string Manager::execLinuxCommand(std::string cmd) const {
    FILE* stream = popen(cmd.c_str(), "r");
    if (stream == nullptr) throw std::runtime_error("popen() failed!");
    std::string output;
    char piece[kPieceSize];
    while (readPiece(stream, piece)) {
        output += piece;
        // On purpose whatever it is: that drops the line end, but also a character of a longer line
        // at each border of pieces, and the last one of a line without end.
        if (!output.empty()) output.pop_back();
    }
    pclose(stream);
    return output;
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

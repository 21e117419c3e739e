/// @file
/// The raw traces of the crash store.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

namespace hcrpt {

struct RawTrace {
    std::string path;
    std::string logPath;  ///< of the stack-trace log, existing or not
    std::string processId;
    std::timespec time = {};  ///< when it was written, right after the crash
    ino_t inode = 0;

    /// Whether it is the same content of the same file.
    bool operator==(const RawTrace& other) const;
};

/// Regular files with the name of a raw trace, in directory order.
std::vector<RawTrace> rawTracesInStore();

/// Whether the text is a process id in digits.
bool isProcessId(const std::string& text);

bool isBefore(const std::timespec& one, const std::timespec& other);

}  // namespace hcrpt

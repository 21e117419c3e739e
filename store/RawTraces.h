/// @file
/// The raw traces of the crash store.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/TraceIdentity.h"

namespace hcrpt {

/// A file with the name of a raw trace.
struct TraceFile {
    std::string path;
    std::string logPath;  ///< of the stack-trace log, existing or not
    TraceIdentity identity;
};

/// A regular file whose name holds the process id. Its time of modification is the time of the
/// crash.
struct RawTrace : TraceFile {
    std::string processId;

    const std::timespec& time() const { return identity.modified; }
};

/// Path of the stack-trace log of a raw trace, whose file name begins with kRawTracePrefix.
std::string stackTraceLogOf(const std::string& rawTrace);

/// The process id in a raw trace's file name; nothing for a name of another form.
std::optional<std::string> processIdOfTrace(const std::string& name);

/// All raw traces of the crash store, in directory order.
std::vector<RawTrace> rawTracesInStore();

}  // namespace hcrpt

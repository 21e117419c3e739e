/// @file
/// Demangles the raw traces of the crash store as they arrive.
#pragma once

#include <map>
#include <string>

#include "store/StoreSnapshot.h"
#include "store/TraceMemory.h"

namespace crash_reporter {

/// A crashing process waits for its stack-trace log, so each raw trace is demangled as soon as it
/// is seen, and again when it or its log has changed or the log has gone. A trace that was
/// demangled right after it came is demangled once more when it has settled, so that no pass over
/// the reports needs to: a pass demangles again what was demangled provisionally only.
class RawTraces {
  public:
    /// Writes one line of the log for each raw trace whose stack-trace log cannot be made, and
    /// tries again at the next call.
    void demangleNew(const hcrpt::StoreSnapshot& store);

  private:
    void demangle(const hcrpt::TraceFile& trace);

    hcrpt::TraceMemory m_memory;
    std::map<std::string, hcrpt::TraceIdentity> m_failed;  ///< by path
};

}  // namespace crash_reporter

#include "crash_reporter/RawTraces.h"

#include <vector>

#include "crash_reporter/Log.h"
#include "hcrpt/HCrashReportMgr.h"

namespace crash_reporter {

using hcrpt::TraceFile;
using hcrpt::TraceIdentity;
using hcrpt::TraceMemory;

void RawTraces::demangleNew(const hcrpt::StoreSnapshot& store) {
    std::vector<std::string> present;
    std::vector<const TraceFile*> settled;
    for (const TraceFile& trace : store.rawTraces) {
        present.push_back(trace.path);
        const TraceMemory::Demangled before = m_memory.isDemangled(trace.path);
        if (before == TraceMemory::Demangled::no)
            demangle(trace);
        else if (before == TraceMemory::Demangled::provisionally && trace.identity.isSettled)
            settled.push_back(&trace);
    }
    m_memory.keepOnly(present);
    // After the traces that crashing processes wait for.
    for (const TraceFile* trace : settled) demangle(*trace);
}

void RawTraces::demangle(const TraceFile& trace) {
    HCrashReportMgr::MangledStackTraceHandler().demangleBTFile(trace.path);
    if (TraceIdentity::of(trace.logPath)) {
        m_memory.setDemangled(trace.path, trace.identity, trace.logPath);
        m_failed.erase(trace.path);
        return;
    }
    const auto failed = m_failed.find(trace.path);
    if (failed != m_failed.end() && failed->second == trace.identity) return;
    m_failed.insert_or_assign(trace.path, trace.identity);
    logError("Could not write the readable log of " + trace.path +
             ", trying again from time to time.");
}

}  // namespace crash_reporter

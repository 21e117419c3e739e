/// @file
/// Hands a raw trace to the crash reporter and waits for the readable log.
#pragma once

namespace hcrpt {

/// Copies the raw trace into the crash store, waits for the readable log and copies that back.
/// @crashtime, on the crash stack.
struct TraceHandOver {
    bool copyRawTrace = true;

    /// For CrashStack::run(): lets no exception out.
    static void run(void* handOver);
};

}  // namespace hcrpt

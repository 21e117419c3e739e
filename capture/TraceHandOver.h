/// @file
/// Hands a raw trace to the crash reporter and waits for the stack-trace log.
#pragma once

namespace hcrpt {

/// Copies the raw trace into the crash store, waits for the stack-trace log and copies that back.
/// Runs on the crash stack. Up to the end of the wait it is @signalsafe where the crash store is
/// there or can be made: neither heap nor lock is needed until the raw trace is where the crash
/// reporter finds it. After the wait it is @crashtime.
struct TraceHandOver {
    bool copyRawTrace = true;

    /// Makes at start-up what is needed then. @ordinary
    static void prepare();
    /// For CrashStack::run().
    static void run(void* handOver) noexcept;
};

}  // namespace hcrpt

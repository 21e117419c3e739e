/// @file
/// Turns SIGTERM into a request to shut down.
#pragma once

namespace crash_reporter {

/// While it exists, SIGTERM does not end this process: a pass over the reports stops after its
/// current report, and isRequested() becomes true. The signal is never blocked, so that it can end
/// programs that this process starts. One per process.
class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// Becomes readable, and stays so, once the signal has come.
    [[nodiscard]] int descriptor() const;
    [[nodiscard]] bool isRequested() const;
};

}  // namespace crash_reporter

/// @file
/// SIGTERM as a wish to leave.
#pragma once

namespace crash_reporter {

/// From its making on SIGTERM no longer ends this process: a pass over the reports ends after the
/// report that it is at, and isAsked() turns true. The signal is never blocked, so that programs
/// that are started from here can be ended by it. One per process.
class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    /// Becomes readable, and stays so, once the signal has come.
    int descriptor() const;
    bool isAsked() const;
};

}  // namespace crash_reporter

/// @file
/// A pass over the waiting reports in a forked process.
#pragma once

#include <sys/types.h>

#include "base/FileDescriptor.h"

namespace crash_reporter {

/// An upload may take minutes, while a crashing process waits for its stack-trace log. So a pass
/// runs in a forked child, one at a time. The kernel ends it when this process ends.
class UploadPass {
  public:
    /// Begins a pass. If no process can be started, it runs in this one and is over on return. If
    /// the last pass crashed, a crash of this one is not reported: each report would be one more to
    /// send.
    void begin();
    [[nodiscard]] bool isRunning() const { return m_child > 0; }
    /// Readable when the pass that runs has ended.
    [[nodiscard]] int descriptor() const { return m_end.get(); }
    /// True when the pass ran in this process and hasEnded() has not reported it yet.
    [[nodiscard]] bool hasEndedHere() const { return m_endedHere; }
    /// @return true once for each pass, when it has ended.
    [[nodiscard]] bool hasEnded();
    /// True when the last pass was killed or crashed, in the middle of anything.
    [[nodiscard]] bool wasKilled() const { return m_killed; }
    /// Asks the pass to stop after its current report.
    void stop() const;

  private:
    pid_t m_child = -1;
    bool m_endedHere = false;
    bool m_killed = false;
    hcrpt::FileDescriptor m_end{-1};
};

}  // namespace crash_reporter

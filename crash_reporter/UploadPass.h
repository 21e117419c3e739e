/// @file
/// A pass over the waiting reports, in a process of its own.
#pragma once

#include <sys/types.h>

#include "base/FileDescriptor.h"

namespace crash_reporter {

/// An upload may take minutes, while a crashing process waits for its stack-trace log. So a pass is
/// made in a forked child, one at a time; it ends with this process, however that does.
class UploadPass {
  public:
    /// Begins one. Where no process can be had it is made here, and is over on return. A crash of
    /// one that follows a crash is not reported: each report would be one more to send.
    void begin();
    bool isRunning() const { return m_child > 0; }
    /// Readable when the pass that runs has ended.
    int descriptor() const { return m_end.get(); }
    /// Whether it was made here, and its end has not been taken note of.
    bool isOverAlready() const { return m_madeHere; }
    /// Takes note of its end. @return whether it has ended since the last call.
    bool hasEnded();
    /// Whether the one that ended last was killed or crashed, in the middle of anything.
    bool wasKilled() const { return m_killed; }
    /// Lets it end after the report that it is at.
    void stop() const;

  private:
    pid_t m_child = -1;
    bool m_madeHere = false;
    bool m_killed = false;
    hcrpt::FileDescriptor m_end{-1};
};

}  // namespace crash_reporter

/// @file
/// The crash reporter's log: standard output in a file of the session directory.
#pragma once

#include <sys/types.h>

#include <string>

#include "utils/Message.h"

namespace crash_reporter {

using hcrpt::logError;
using hcrpt::logInfo;

/// Keeps the log where it belongs, within bounds. One per process.
class Log {
  public:
    /// Size at which a log becomes the older generation.
    static constexpr off_t kMaxBytes = 4 << 20;

    explicit Log(off_t maxBytes = kMaxBytes) : m_maxBytes(maxBytes) {}

    /// Sends standard output into "crashReporter<pid>.log", and standard error as well, for what
    /// programs that are started from here complain about. The directory must exist.
    void open();
    /// Keeps a log that has grown too large as "<log>.old", in place of an earlier one, and begins
    /// it anew; makes it again when its directory has been removed and is back. Not while another
    /// process writes into it.
    void keep();

  private:
    void beginAnew();

    off_t m_maxBytes;
    std::string m_path;
};

}  // namespace crash_reporter

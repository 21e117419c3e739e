/// @file
/// Raw traces of the crash store, each made readable once.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <tuple>

namespace crash_reporter {

/// A dying process waits for its readable log, so each raw trace is made readable as soon as it is
/// seen, and again only when it is another one than before or its log has gone.
class RawTraces {
  public:
    /// One line of the log for each raw trace of which no readable log can be made. It is tried
    /// again at the next call.
    void makeReadable();

  private:
    /// Which file it is, and as of when.
    using Identity = std::tuple<dev_t, ino_t, off_t, time_t, long>;
    struct State {
        Identity identity;
        bool failed = false;
    };
    std::map<std::string, State> m_seen;  ///< by path
};

}  // namespace crash_reporter

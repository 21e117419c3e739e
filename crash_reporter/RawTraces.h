/// @file
/// Raw traces of the crash store, made readable as they come.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <tuple>

namespace crash_reporter {

/// A dying process waits for its readable log, so each raw trace is made readable as soon as it is
/// seen, and again only when it is another one than before or its log has gone; and once more some
/// seconds after it came, so that no pass over the reports needs to.
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
        bool young = false;  ///< it had only just come
        bool failed = false;
    };
    std::map<std::string, State> m_seen;  ///< by path
};

}  // namespace crash_reporter

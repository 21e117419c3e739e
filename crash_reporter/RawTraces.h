/// @file
/// Raw traces of the crash store, demangled as they come.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <tuple>

namespace crash_reporter {

/// A crashing process waits for its stack-trace log, so each raw trace is demangled as soon as it
/// is seen, and again only when it is another one than before or its log has gone; and once more
/// some seconds after it came, so that no pass over the reports needs to.
class RawTraces {
  public:
    /// One line of the log for each raw trace of which no stack-trace log can be made. It is tried
    /// again at the next call.
    void demangleNew();

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

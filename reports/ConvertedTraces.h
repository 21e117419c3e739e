/// @file
/// Which raw traces need not be demangled again.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace hcrpt {

/// What changes whenever a file is changed or replaced, but for one that is changed twice within a
/// tick of the file system's clock.
using FileState = std::tuple<dev_t, ino_t, off_t, time_t, long, time_t, long>;

/// The raw traces of which this process has not yet written the stack-trace log, or that have
/// changed since, or whose log has. Each pass of the crash reporter sees to every trace of the
/// session, whose number only grows. Grade: @ordinary, one thread.
std::vector<std::string> withoutConverted(const std::vector<std::string>& rawTraces);

/// One conversion of a raw trace; make it before the trace is read.
class TraceConversion {
  public:
    explicit TraceConversion(const std::string& rawTrace);
    /// Lets withoutConverted() know. Call it once the log is in its place and complete: one that
    /// was cut short is to be written again.
    void finish(const std::string& log) const;

  private:
    std::string m_rawTrace;
    std::optional<FileState> m_before;  ///< none where a later change could not be told
};

}  // namespace hcrpt

/// @file
/// What has been done with the raw traces of the crash store.
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/TraceIdentity.h"

namespace hcrpt {

/// Remembers, by path and identity, which raw traces have been demangled and which have been judged
/// (checked for a missing report). A trace that changes or is replaced counts as a new one.
/// Grade: @ordinary, one thread.
class TraceMemory {
  public:
    /// The library's own memory, shared by its folders. The crash reporter, which reaches only
    /// exported functions, has another object of this class.
    static TraceMemory& ofLibrary();

    enum class Demangled {
        no,             ///< or the trace or its log has changed since, or the log has gone
        provisionally,  ///< so soon after the trace's last change that another may have escaped
        yes,
    };
    [[nodiscard]] Demangled isDemangled(const std::string& rawTrace) const;
    /// The log has been written and is complete.
    /// @param asRead identity of the raw trace, taken before it was read
    void setDemangled(const std::string& rawTrace, const TraceIdentity& asRead,
                      const std::string& log);

    [[nodiscard]] bool isJudged(const std::string& rawTrace, const TraceIdentity& identity) const;
    void setJudged(const std::string& rawTrace, const TraceIdentity& identity);

    /// Forgets all traces but these. @param rawTraces paths
    void keepOnly(const std::vector<std::string>& rawTraces);

  private:
    struct Log {
        TraceIdentity trace;  ///< the raw trace that it was made from
        std::string path;
        TraceIdentity identity;
    };
    struct Known {
        std::optional<Log> log;
        std::optional<TraceIdentity> judged;
    };
    std::unordered_map<std::string, Known> m_known;  ///< by the raw trace's path
};

}  // namespace hcrpt

/// @file
/// Runs curl once and collects its output.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velcurl {

/// How many bytes curl may write, trace and answer together. A trace takes some kilobytes, the
/// report server's answer one line.
constexpr std::size_t kOutputLimit = std::size_t{256} * 1024;

struct CurlRun {
    /// The errno value when curl could not be started; the other members mean nothing then.
    std::optional<int> startError;
    int waitStatus = 0;    ///< as from waitpid()
    bool tooLong = false;  ///< curl wrote more than kOutputLimit, and velcurl killed it
    std::string trace;     ///< standard error
    std::string answer;    ///< standard output
};

/// Runs curl and waits for its end. Signals that ask velcurl to end are passed on to curl and stay
/// blocked afterwards, so that velcurl can still print what curl has written. The kernel kills curl
/// when velcurl is killed. Call it once per process, while there is one thread.
[[nodiscard]] CurlRun runCurl(const std::string& program, const std::vector<std::string>& arguments,
                              const std::vector<std::string>& environment);

}  // namespace velcurl

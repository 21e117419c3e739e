/// @file
/// One run of curl, with all that it writes.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace velcurl {

/// The most that a curl may write. A trace takes some kilobytes, the report server's answer a line.
constexpr std::size_t kOutputLimit = std::size_t{256} * 1024;

struct CurlRun {
    int error = 0;         ///< errno value when curl could not be started; then nothing else counts
    int waitStatus = 0;    ///< as from waitpid()
    bool tooLong = false;  ///< it wrote more than the limit and was killed for that
    std::string trace;     ///< standard error
    std::string answer;    ///< standard output
};

/// Runs curl to its end. Signals that ask velcurl to end go to curl instead, and stay blocked
/// afterwards, so that what curl has said until then is not lost. Curl does not outlive velcurl,
/// not even one that is killed. One thread; once per process.
CurlRun runCurl(const std::string& program, const std::vector<std::string>& arguments,
                const std::vector<std::string>& environment);

}  // namespace velcurl

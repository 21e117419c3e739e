/// @file
/// Decides how an upload ended, for velcurl's caller and for the reader of the upload's log.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "velcurl/CurlRun.h"

namespace velcurl {

/// Exit statuses; curl uses the same numbers for "the server returned an error" and "the file is
/// too large".
constexpr int kNotAccepted = 22;
constexpr int kAnswerTooLong = 63;

struct Verdict {
    std::optional<std::string> complaint;  ///< one line without its line feed; nothing: accepted
    int exitStatus = 0;                    ///< for velcurl; without meaning after a signal
};

/// An upload succeeded when the server answered "HTTP/1.1 200 OK" with complete headers and curl
/// ended with status 0. The complaint never contains that status line, because the crash reporter
/// searches the log for it.
/// @param server host and port, see serverOf(); nothing: curl talked to no web server, and without
///        an answer curl's exit status alone decides.
[[nodiscard]] Verdict verdictOn(const CurlRun& run, const std::optional<std::string>& server);

/// Returns host and port of the last argument; nothing when that is no http or https address.
[[nodiscard]] std::optional<std::string> serverOf(const std::vector<std::string>& arguments);

}  // namespace velcurl

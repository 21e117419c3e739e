/// @file
/// Reads curl's verbose trace of an upload.
#pragma once

#include <string>

namespace velcurl {

/// The last answer to the last request. A later answer replaces an interim one (100 and the like).
struct Answer {
    std::string
        statusLine;  ///< such as "HTTP/1.1 503 Service Unavailable"; empty without an answer
    bool headersAreWhole = false;  ///< the empty line that ends the headers arrived
    bool isProxys = false;         ///< the proxy answered a request for a tunnel, not the server

    int status() const;          ///< such as 503; 0 without an answer
    std::string reason() const;  ///< such as "Service Unavailable"
};

/// @param trace what curl wrote to standard error with --verbose
[[nodiscard]] Answer lastAnswer(const std::string& trace);

/// Returns curl's message about its exit status, such as "Could not resolve host: x"; empty when
/// the trace has none.
[[nodiscard]] std::string complaint(const std::string& trace, int exitStatus);

}  // namespace velcurl

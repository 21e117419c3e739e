/// @file
/// What curl tells of an upload in its verbose trace.
#pragma once

#include <string>

namespace velcurl {

/// The last answer to the last request. Interim answers (100 and the like) give way to what
/// follows.
struct Answer {
    std::string statusLine;        ///< "HTTP/1.1 503 Service Unavailable"; empty: there is none
    bool headersAreWhole = false;  ///< the empty line after them has come
    bool isProxys = false;         ///< to a request for a tunnel: not from the server itself

    int status() const;          ///< 503; 0 without an answer
    std::string reason() const;  ///< "Service Unavailable"
};

/// @param trace what curl has written to standard error with --verbose
[[nodiscard]] Answer lastAnswer(const std::string& trace);

/// What curl says about ending with this status, "Could not resolve host: x"; empty when it says
/// nothing.
[[nodiscard]] std::string complaint(const std::string& trace, int exitStatus);

}  // namespace velcurl

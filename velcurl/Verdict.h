/// @file
/// How an upload ended, for the caller and for the reader of its log.
#pragma once

#include <string>
#include <vector>

#include "velcurl/CurlRun.h"

namespace velcurl {

/// As curl has them for "the server returned an error" and "the file is too large".
constexpr int kNotAccepted = 22;
constexpr int kAnswerTooLong = 63;

struct Verdict {
    std::string line;    ///< without line feed; empty when there is nothing to complain about
    int exitStatus = 0;  ///< for velcurl; of no meaning after a signal
};

/// Only an answer "HTTP/1.1 200 OK" with whole headers, and curl's own consent, is a success. The
/// line never holds that text: whoever looks for it must not find it here.
/// @param server as in the address, see serverOf(); empty: nothing was asked of a web server, and
/// curl's status alone decides where there is no answer.
Verdict verdictOn(const CurlRun& run, const std::string& server);

/// Host and port in the last of the arguments, when that is an http(s) address; else empty.
std::string serverOf(const std::vector<std::string>& arguments);

}  // namespace velcurl

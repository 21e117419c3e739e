/// @file
/// Advice for the reader of the log of an upload that failed.
#pragma once

#include <string>

namespace velcurl {

/// @param status HTTP status of the answer; not that of an accepted upload
std::string adviceOnHttp(int status);

/// @param exitStatus curl's exit status, not 0
/// @param complaint curl's message about it, see CurlTrace.h
std::string adviceOnCurl(int exitStatus, const std::string& complaint = "");

}  // namespace velcurl

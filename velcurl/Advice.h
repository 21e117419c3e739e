/// @file
/// What to look at after an upload that failed.
#pragma once

#include <string>

namespace velcurl {

/// @param status of an answer that is no "200 OK"
std::string adviceOnHttp(int status);

/// @param exitStatus curl's, not 0
/// @param complaint what curl said about it
std::string adviceOnCurl(int exitStatus, const std::string& complaint = "");

}  // namespace velcurl

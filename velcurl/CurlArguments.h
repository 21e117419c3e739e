/// @file
/// Builds the command line for curl.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velcurl {

/// Time limits of one upload, in seconds. A caller's own --connect-timeout or --max-time overrides
/// them, because it comes later on the command line.
constexpr int kConnectTimeoutSeconds = 10;
constexpr int kTotalTimeoutSeconds = 120;

/// Returns curl's arguments without its name: velcurl's options first, then the caller's in their
/// order. Only the file of a form field is changed (see quotedFormField()).
/// @param connectTo value for curl's --connect-to; curl then bypasses proxies. Empty: curl gets no
/// such option and uses proxies.
/// @param totalSeconds time limit of the whole upload, see totalTimeout().
std::vector<std::string> curlArguments(const std::vector<std::string>& callers,
                                       const std::string& connectTo, int totalSeconds);

/// Returns the chosen number of seconds when it lies between 1 and kTotalTimeoutSeconds, otherwise
/// kTotalTimeoutSeconds: a user can shorten the time limit, not extend it.
int totalTimeout(const std::string& chosen);

/// Puts the path of a form field "name=@path" into curl's own quotes if the whole text after the
/// "@" is the path of an existing file. Without quotes curl would end the path at a ";" or ",". Any
/// other field, such as "name=value" or "name=@path;type=text/plain", is returned unchanged.
std::string quotedFormField(const std::string& field);

}  // namespace velcurl

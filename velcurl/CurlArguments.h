/// @file
/// The command line for curl.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velcurl {

/// Bounds of one upload, in seconds. A caller's own --connect-timeout or --max-time comes later on
/// the command line and wins.
constexpr int kConnectTimeoutSeconds = 10;
constexpr int kTotalTimeoutSeconds = 120;

/// The arguments for curl, its name not among them: our options first, then the caller's in their
/// order, each unchanged but for the file of a form field (see quotedFormField()).
/// @param connectTo value for curl's --connect-to; proxies are bypassed then. Empty: neither.
/// @param totalSeconds the whole upload's bound, see totalTimeout().
std::vector<std::string> curlArguments(const std::vector<std::string>& callers,
                                       const std::string& connectTo, int totalSeconds);

/// A whole number of seconds up to kTotalTimeoutSeconds; that for any other text. So the bound can
/// be shortened, not lengthened.
int totalTimeout(const std::string& chosen);

/// A form field "name=@path" whose text after the "@" is, as a whole, the path of an existing file:
/// the same with that path in curl's own quotes, because curl would read ";" and "," in it as the
/// end of the path. Anything else, such as "name=value" or "name=@path;type=text/plain", is
/// returned unchanged and keeps curl's meaning.
std::string quotedFormField(const std::string& field);

}  // namespace velcurl

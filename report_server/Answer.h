/// @file
/// What the server says to a client.
#pragma once

#include <optional>
#include <string>

namespace report_server {

struct Answer {
    std::string status;        ///< "200 OK"
    std::string text;          ///< one line, without its line feed
    std::string headers = "";  ///< further header lines, each ended by CR LF
    std::string note = "";     ///< for the server's log alone
};

/// The answer as a CGI program gives it: status, type, headers, blank line, text and line feed.
std::string cgiAnswer(const Answer& answer);

/// The answer that a test has chosen in the file "answer" of the server's directory: the first line
/// is the status; what follows, if anything, stands for the rest of a CGI answer (header lines, a
/// blank line, a body) and is sent as it is. Without a rest the body is the status line.
/// @return nothing when there is no such file or the directory's name is empty.
[[nodiscard]] std::optional<std::string> chosenAnswer(const std::string& directory);

/// Whether the codes are equal. The time does not depend on where they differ.
[[nodiscard]] bool isSameCode(const std::string& given, const std::string& expected);

/// Text fit for one line of a log: control characters and bytes beyond ASCII become "?"; at most
/// 200 characters.
std::string forLog(const std::string& text);

}  // namespace report_server

/// @file
/// The server's answers to a client.
#pragma once

#include <optional>
#include <string>

namespace report_server {

struct Answer {
    std::string status;        ///< such as "200 OK"
    std::string text;          ///< one line, without its line feed
    std::string headers = "";  ///< further header lines, each ended by CR LF
    std::string note = "";     ///< goes to the server's log only
};

/// Formats an answer for the web server: status, content type, headers, blank line, text, line
/// feed.
std::string cgiAnswer(const Answer& answer);

/// Returns the answer that a test has written into the file "answer" of the server's directory. The
/// first line is the status. Further lines are sent unchanged as the rest of the CGI answer (header
/// lines, a blank line, a body). Without further lines the body is the status line.
/// @return nothing when there is no such file or the directory's name is empty
[[nodiscard]] std::optional<std::string> chosenAnswer(const std::string& directory);

/// Returns true when the codes are equal. The time it takes does not depend on where they differ.
[[nodiscard]] bool isSameCode(const std::string& given, const std::string& expected);

/// Returns at most 200 characters of a text for one line of a log, with "?" in place of control
/// characters and bytes beyond ASCII.
std::string forLog(const std::string& text);

}  // namespace report_server

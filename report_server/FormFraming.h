/// @file
/// Checks the frame of a multipart form: where its parts begin and end.
#pragma once

#include <optional>
#include <string>

namespace report_server {

/// Returns the boundary, without its quotes, of a content type "multipart/form-data; boundary=...".
/// @return nothing for another type, and when the boundary is missing, empty, longer than 70
///         characters or holds a character that no boundary may have
[[nodiscard]] std::optional<std::string> boundaryOf(const std::string& contentType);

/// Returns true when each occurrence of the boundary is a whole delimiter line, and the closing
/// delimiter comes once and last.
///
/// The form's decoder accepts delimiters anywhere, not only at the start of a line, and silently
/// drops a last part without a closing delimiter. It decodes a well-framed body byte for byte. Any
/// other body was cut off or contains its own boundary.
[[nodiscard]] bool isWellFramed(const std::string& body, const std::string& boundary);

}  // namespace report_server

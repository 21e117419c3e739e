/// @file
/// The frame of a multipart form: where its parts begin and end.
#pragma once

#include <optional>
#include <string>

namespace report_server {

/// The boundary that a "multipart/form-data; boundary=..." content type names, without its quotes.
/// @return nothing for another type, or a boundary that is missing, empty, longer than 70
///         characters or made of anything but the characters that a boundary may have.
[[nodiscard]] std::optional<std::string> boundaryOf(const std::string& contentType);

/// Whether each occurrence of the boundary is a whole delimiter line and the closing one comes once
/// and last.
///
/// The form's decoder looks for delimiters anywhere, not only at the start of a line, and silently
/// drops a last part without the closing one. A body that passes here is one that it decodes
/// byte for byte; the others are cut off or use a boundary that their content holds.
[[nodiscard]] bool isWellFramed(const std::string& body, const std::string& boundary);

}  // namespace report_server

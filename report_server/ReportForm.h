/// @file
/// The form that an upload sends.
#pragma once

#include <optional>
#include <string>

namespace report_server {

struct ReportForm {
    bool hasFile = false;
    std::string fileName;  ///< as the client gave it: not to be trusted
    std::string content;   ///< of the file, byte for byte
    std::string domain;
    std::string regid;
    std::string access;
};

/// Decodes a multipart form. A field that is missing stays empty.
/// @return nothing when the form is malformed or a field comes twice.
[[nodiscard]] std::optional<ReportForm> decodeForm(const std::string& contentType,
                                                   const std::string& body);

}  // namespace report_server

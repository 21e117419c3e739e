/// @file
/// Decodes the form that an upload sends.
#pragma once

#include <optional>
#include <string>

namespace report_server {

struct ReportForm {
    bool hasFile = false;
    std::string fileName;  ///< as the client sent it; untrusted, see safeName()
    std::string content;   ///< the file's bytes, unchanged
    std::string domain;
    std::string regid;
    std::string access;
};

/// Decodes a multipart form. A missing field stays empty.
/// @return nothing when the form is malformed or has a field twice
[[nodiscard]] std::optional<ReportForm> decodeForm(const std::string& contentType,
                                                   const std::string& body);

}  // namespace report_server

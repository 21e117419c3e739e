/// @file
/// Multipart forms put together by hand.
#pragma once

#include <string>

namespace test_support {

inline const std::string kBoundary = "------------------------0123456789abcdef";
inline const std::string kFormType = "multipart/form-data; boundary=" + kBoundary;

inline std::string part(const std::string& disposition, const std::string& content,
                        const std::string& boundary = kBoundary) {
    return "--" + boundary + "\r\nContent-Disposition: form-data; " + disposition + "\r\n\r\n" +
           content + "\r\n";
}
inline std::string fieldPart(const std::string& name, const std::string& value) {
    return part("name=\"" + name + "\"", value);
}
inline std::string filePart(const std::string& fileName, const std::string& content) {
    return part("name=\"file_loc\"; filename=\"" + fileName +
                    "\"\r\nContent-Type: application/octet-stream",
                content);
}
inline std::string closing(const std::string& boundary = kBoundary) {
    return "--" + boundary + "--\r\n";
}

/// Every byte value, line ends of all kinds and lines that look like delimiters.
inline std::string awkwardContent() {
    std::string content = "\r\n\n\r--\r\n----\r\n" + kBoundary + "\r\n--" +
                          kBoundary.substr(0, kBoundary.size() - 1) + "\r\n--X" + kBoundary;
    for (int i = 0; i < 256; ++i) content += static_cast<char>(i);
    content += "\r\nContent-Disposition: form-data; name=\"access\"\r\n\r\nother\r\n\r\n";
    content += '\0';
    return content + "\r\n";
}

}  // namespace test_support

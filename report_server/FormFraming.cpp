#include "report_server/FormFraming.h"

#include <strings.h>

#include <algorithm>

namespace report_server {
namespace {

constexpr std::size_t kMaxBoundary = 70;
const std::string kLineEnd = "\r\n";
const std::string kBoundaryCharacters =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ'()+_,-./:=? ";

bool startsWithIgnoringCase(const std::string& text, const std::string& start) {
    return strncasecmp(text.c_str(), start.c_str(), start.size()) == 0;
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::optional<std::string> boundaryOf(const std::string& contentType) {
    const std::string type = "multipart/form-data";
    const std::string key = "boundary=";
    std::size_t end = std::min(contentType.find(';'), contentType.size());
    if (!startsWithIgnoringCase(contentType, type) ||
        trimmed(contentType.substr(0, end)).size() != type.size())
        return std::nullopt;
    while (end < contentType.size()) {
        const std::size_t start = end + 1;
        end = std::min(contentType.find(';', start), contentType.size());
        const std::string parameter = trimmed(contentType.substr(start, end - start));
        if (!startsWithIgnoringCase(parameter, key)) continue;
        std::string boundary = parameter.substr(key.size());
        if (boundary.size() >= 2 && boundary.front() == '"' && boundary.back() == '"')
            boundary = boundary.substr(1, boundary.size() - 2);
        if (boundary.empty() || boundary.size() > kMaxBoundary || boundary.back() == ' ' ||
            boundary.find_first_not_of(kBoundaryCharacters) != std::string::npos)
            return std::nullopt;
        return boundary;
    }
    return std::nullopt;
}

bool isWellFramed(const std::string& body, const std::string& boundary) {
    const std::string delimiter = "--" + boundary;
    bool closed = false;
    for (std::size_t at = body.find(delimiter); at != std::string::npos;
         at = body.find(delimiter, at + 1)) {
        const bool startsLine =
            at == 0 || (at >= kLineEnd.size() &&
                        body.compare(at - kLineEnd.size(), kLineEnd.size(), kLineEnd) == 0);
        if (!startsLine || closed) return false;
        const std::size_t after = at + delimiter.size();
        closed = body.compare(after, 2, "--") == 0;
        const std::size_t lineEnd = closed ? after + 2 : after;
        // Only the last line may lack its line end.
        const bool endsLine = body.compare(lineEnd, kLineEnd.size(), kLineEnd) == 0 ||
                              (closed && lineEnd == body.size());
        if (!endsLine) return false;
    }
    return closed;
}

}  // namespace report_server

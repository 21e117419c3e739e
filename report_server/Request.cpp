#include "report_server/Request.h"

#include <cstdlib>

#include "base/Digits.h"
#include "base/ReadAll.h"

namespace report_server {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::optional<std::uint64_t> decimal(const std::string& text) {
    return hcrpt::numberIn<std::uint64_t>(text);
}

std::optional<std::string> readBody(int descriptor, std::size_t length) {
    std::string body(length, '\0');
    if (hcrpt::readAll(descriptor, body.data(), length) < length) return std::nullopt;
    return body;
}

}  // namespace report_server

#include "report_server/Request.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>

namespace report_server {

std::string variable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::optional<std::uint64_t> decimal(const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

std::optional<std::string> readBody(int descriptor, std::size_t length) {
    std::string body(length, '\0');
    std::size_t have = 0;
    while (have < length) {
        const ssize_t got = read(descriptor, body.data() + have, length - have);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return std::nullopt;
        have += static_cast<std::size_t>(got);
    }
    return body;
}

}  // namespace report_server

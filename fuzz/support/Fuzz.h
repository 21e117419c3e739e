/// @file
/// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Ends the run as a finding when something that must hold does not.
#define FUZZ_REQUIRE(condition)                                       \
    do {                                                              \
        if (!(condition)) fuzz::fail(#condition, __FILE__, __LINE__); \
    } while (false)

namespace fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

/// A directory of this process's own; made on the first call, removed when the process exits.
const std::string& directory();

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

/// The input as a text.
inline std::string text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// The lines as std::getline() gives them: a line feed at the end begins no further line.
std::vector<std::string> linesOf(const std::string& content);

bool contains(const std::string& text, const std::string& part);

/// Descriptor 1 as a file, from the first call on.
class StandardOutput {
  public:
    /// Forgets all that has been written.
    static void clear();
    static std::string content();
};

}  // namespace fuzz

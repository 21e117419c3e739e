/// @file
/// Helpers of the fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Ends the run as a finding when the condition does not hold.
#define FUZZ_REQUIRE(condition)                                       \
    do {                                                              \
        if (!(condition)) fuzz::fail(#condition, __FILE__, __LINE__); \
    } while (false)

namespace fuzz {

[[noreturn]] void fail(const char* condition, const char* file, int line);

/// Returns this process's own directory. The first call creates it; the exit of the process removes
/// it.
const std::string& directory();

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

/// Returns the input as a text.
inline std::string text(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Returns the lines that std::getline() reads: a line feed at the end begins no further line.
std::vector<std::string> linesOf(const std::string& content);

bool contains(const std::string& text, const std::string& part);

/// Redirects descriptor 1 into a file, from the first call on.
class StandardOutput {
  public:
    /// Discards everything written so far.
    static void clear();
    static std::string content();
};

}  // namespace fuzz

/// @file
/// Files as a test writes and reads them.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace test_support {

/// Whole content of a file; fails the test when it cannot be read.
std::string readFile(const std::string& path);
/// Content of a file that may vanish at any time; then it is empty.
std::string contentIfAny(const std::string& path);
/// Writes a file anew; fails the test when it cannot.
void writeFile(const std::string& path, const std::string& content);
/// Names of a directory's entries, sorted.
std::vector<std::string> namesIn(const std::string& directory);
/// Those that begin so; none without the directory.
std::vector<std::string> namesWithPrefix(const std::string& directory, const std::string& prefix);

/// Permissions of a file, not of what a link leads to; fails the test when there is none.
mode_t modeOf(const std::string& path);

/// How often a part stands in a text.
std::size_t timesIn(const std::string& text, const std::string& part);

}  // namespace test_support

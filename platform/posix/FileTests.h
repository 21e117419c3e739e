/// @file
/// Tests of a path, see HUTFile.
#pragma once

#include <string>

namespace file_tests {

bool exists(const std::string& path);
bool isDir(const std::string& path);
bool isExecutable(const std::string& path);
bool isWriteable(const std::string& path);

}  // namespace file_tests

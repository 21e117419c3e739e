/// @file
/// Absolute, normalised paths.
#pragma once

#include <string>

/// Returns the absolute path: the existing part with its links resolved, the rest without ".", ".."
/// and double slashes. Empty for an empty path, and for a relative path when the working directory
/// has been removed.
std::string canonicalPath(const std::string& path);
/// Returns the working directory; empty when it has been removed.
std::string currentDirectory();

/// @file
/// Absolute, normalised paths.
#pragma once

#include <string>

/// The existing part with its links resolved, the rest without ".", ".." and double slashes. Empty
/// when the path is, and for a relative one when the working directory is gone.
std::string canonicalPath(const std::string& path);
/// The working directory; empty when it is gone.
std::string currentDirectory();

/// @file
/// Reads small system files.
#pragma once

#include <string>

/// Returns the whole content of a file; empty when it cannot be read.
std::string wholeText(const char* path);

/// @file
/// Small system files as text.
#pragma once

#include <string>

/// The whole content of a file; empty when it cannot be read.
std::string wholeText(const char* path);

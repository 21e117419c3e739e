/// @file
/// Copy of a file that appears whole or not at all.
#pragma once

#include <string>

#include "HUTFile.h"

/// See HUTFile::copyToDir. Works with plain system calls and a small buffer on the stack: it runs
/// in the crashing process.
bool copyFileToDirectory(const std::string& path, const std::string& directory,
                         HUTFile::CopyMode mode);

/// @file
/// Copies a file so that the copy appears complete or not at all.
#pragma once

#include <string>

#include "HUTFile.h"

/// See HUTFile::copyToDir. Uses only system calls and a small buffer on the stack, because it runs
/// in a crashing process.
bool copyFileToDirectory(const std::string& path, const std::string& directory,
                         HUTFile::CopyMode mode);

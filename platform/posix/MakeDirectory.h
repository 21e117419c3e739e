/// @file
/// Creates directories for their owner only.
#pragma once

#include <string>

/// Creates one directory with mode 0700, independent of the umask. @return true when the directory
/// exists now
bool makeDirectory(const std::string& path);
/// Creates a directory and its missing parents, all with mode 0700. @return true when the directory
/// exists now
bool makeDirectories(const std::string& path);

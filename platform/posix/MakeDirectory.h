/// @file
/// Directories for their owner only.
#pragma once

#include <string>

/// Makes one directory with mode 0700 whatever the umask. @return whether it is there now.
bool makeDirectory(const std::string& path);
/// Makes it and its missing parents, all with mode 0700. @return whether it is there now.
bool makeDirectories(const std::string& path);

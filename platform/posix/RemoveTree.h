/// @file
/// Removes directory trees.
#pragma once

#include <string>

/// Removes a file, or a directory with all its content. Symbolic links are removed, never followed.
/// After a failure it continues with the remaining entries. It never removes the root directory,
/// "." and "..". @return true when nothing is left
bool removeTree(const std::string& path);

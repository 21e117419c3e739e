/// @file
/// Removal of directory trees.
#pragma once

#include <string>

/// Removes a directory with all that is in it, or a file. Symbolic links are removed, never
/// followed. Goes on after a failure, so that as little as possible stays. The root directory, "."
/// and ".." are left alone. @return whether nothing is left.
bool removeTree(const std::string& path);

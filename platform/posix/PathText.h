/// @file
/// Paths as text; nothing here asks the file system.
#pragma once

#include <string>

namespace path_text {

bool isAbsolute(const std::string& path);
/// The path without the slashes at its end; "/" for one of slashes only.
std::string withoutTrailingSlashes(const std::string& path);
/// The last component, slashes at the end aside; empty for "/" and the empty path.
std::string lastComponent(const std::string& path);
/// The directory that holds the last component: "." for a bare name, "/" for one below the root.
std::string parentDirectory(const std::string& path);
/// Installation root of a program: its path without "/bin/unwrapped/lnx64.o/<name>", or its
/// directory when it does not lie in such a place. Empty for an empty path.
std::string installationRoot(const std::string& executable);

}  // namespace path_text

/// @file
/// Works on paths as text. No function here uses the file system.
#pragma once

#include <string>

namespace path_text {

bool isAbsolute(const std::string& path);
/// Returns the path without the slashes at its end; "/" for a path of slashes only.
std::string withoutTrailingSlashes(const std::string& path);
/// Returns the last component, without slashes at its end; empty for "/" and the empty path.
std::string lastComponent(const std::string& path);
/// Returns the directory of the last component: "." for a bare name, "/" for a name directly below
/// the root.
std::string parentDirectory(const std::string& path);
/// Returns the installation root of a program: its path without "/bin/unwrapped/lnx64.o/<name>", or
/// its directory when the path does not end so. Empty for an empty path.
std::string installationRoot(const std::string& executable);

}  // namespace path_text

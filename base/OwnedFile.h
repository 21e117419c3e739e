/// @file
/// Files that other users of the machine cannot have put in place.
#pragma once

#include <sys/stat.h>

namespace hcrpt {

/// Opens a regular file of this user or of root for reading. A symbolic link in the last component
/// of the path, another user's file, a directory, a device and a pipe are refused; a pipe without a
/// writer is not waited for. @signalsafe
/// @param status becomes the state of the open file
/// @return the descriptor, which is closed on exec and belongs to the caller; -1 when refused, and
///         when there is no such file
int openOwnedFile(const char* path, struct stat& status);

}  // namespace hcrpt

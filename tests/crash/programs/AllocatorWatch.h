/// @file
/// Tells whether a crashing process asks for memory too early.
#pragma once

namespace allocator_watch {

/// From now on, each call of the allocator is written to the file "allocator-calls" of the working
/// directory, one line each, until the file at the path exists: the copy of the raw trace in the
/// crash store. Works by standing in for malloc() and its kin.
void arm(const char* path);

}  // namespace allocator_watch

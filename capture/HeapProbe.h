/// @file
/// Finds out whether a crashing process can still use its heap.
#pragma once

namespace hcrpt {

/// Takes and gives back some memory in a child that shares the heap: a lock that the dead thread
/// holds, or a heap in disorder, costs the child alone, and kSharedChildStepSeconds at most. Tried
/// once; a heap that has failed is not asked again. @signalsafe
bool heapIsUsable();

}  // namespace hcrpt

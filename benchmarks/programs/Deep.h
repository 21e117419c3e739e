/// @file
/// Frames of a shared library of their own, as those of a host are.
#pragma once

namespace bench {

/// Calls itself depth times, each time in a new frame, and then the function.
[[gnu::visibility("default")]] void callDeep(int depth, void (*function)());

}  // namespace bench

/// @file
/// Makes frames in a separate shared library, like those of a host.
#pragma once

namespace bench {

/// Calls itself depth times, each time in a new frame, then calls the function.
[[gnu::visibility("default")]] void callDeep(int depth, void (*function)());

}  // namespace bench

/// @file
/// Work of which nothing may be left, and that may take for ever.
#pragma once

#include <chrono>
#include <functional>

namespace hcrpt {

enum class ChildResult { succeeded, failed, timedOut };

/// Runs the task in a forked child: memory that is never given back, above all the crash-time
/// arena's, goes with it, and so does whatever fails in it. After its time it is killed with all
/// that it has started. One thread.
/// @return what the task returned; failed as well where it threw, where it died, and where there is
///         no child to be had.
ChildResult runInChild(const std::function<bool()>& task, std::chrono::milliseconds limit);

}  // namespace hcrpt

/// @file Ends the processes that popen() has started.
#pragma once

namespace hcrpt {

/// Ends the child of this process whose standard output is the pipe behind the descriptor, and all
/// its descendants, and waits up to a second for the child's end. Does not touch other children of
/// this process and does not reap the child. @crashtime
/// @return false when there is no such child, or it has not ended.
bool endWriterOf(int pipe);

}  // namespace hcrpt

/// @file
/// Ends what popen() has started.
#pragma once

namespace hcrpt {

/// Ends the child of this process whose standard output is the pipe that the descriptor reads from,
/// with all its descendants, and waits up to a second for its end. Other children of this process
/// are left alone. The child itself is not reaped. @crashtime
/// @return false when there is no such child, or it has not ended.
bool endWriterOf(int pipe);

}  // namespace hcrpt

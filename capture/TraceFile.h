/// @file
/// The file of this process's raw trace.
#pragma once

namespace hcrpt {

/// Opens it for writing, and makes it where there is none. An older, longer file is not truncated:
/// see writeRawTrace() for what becomes of it. @return -1 on failure. @signalsafe
int openRawTrace();

/// Writes what stands before the first frame. @signalsafe
void writeTraceHeader(int fd, int signal);

}  // namespace hcrpt

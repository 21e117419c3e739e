/// @file
/// The raw trace of the calling thread.
#pragma once

namespace hcrpt {

/// Writes the frames one by one, each on disk before the next is looked for, then replaces them by
/// the whole trace. A damaged stack and a lock that is never given back cost the rest of the trace
/// only: the frames found so far stay. @signalsafe, once the unwinder has been primed.
void writeRawTrace(int fd);

/// Takes and writes one trace into the void, so that all that taking a trace needs is loaded and
/// bound before a crash. @ordinary
void primeRawTrace();

}  // namespace hcrpt

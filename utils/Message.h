/// @file
/// The one way in which messages reach standard output, which is the log in the crash reporter.
#pragma once

#include <string>

namespace hcrpt {

// Once standard output is closed, all messages are dropped: using a closed stream is undefined, and
// its descriptor may by then be another file's. Whoever calls closeStandardOutput() drops its own
// messages only: the library and the crash reporter have a copy of this code each.

/// Prints "[Crash Reporter] ", the text and a line feed, and flushes. @crashtime
void logInfo(const std::string& text);
/// Prints "[Crash Reporter] Error: ", the text and a line feed, and flushes. @crashtime
void logError(const std::string& text);
/// Prints the text as it is and flushes: for lines without prefix. @crashtime
void printRaw(const std::string& text);
/// Prints the text as it is and leaves it in the buffer, where the next message follows it.
/// @crashtime
void printUnflushed(const std::string& text);

/// Sends standard output into a file, which is made or emptied and is for its owner only. When the
/// file cannot be opened, standard output stays where it is. One thread at a time.
void redirectStandardOutput(const std::string& path);
/// Closes standard output; nothing happens when it is closed already. One thread at a time.
void closeStandardOutput();

}  // namespace hcrpt

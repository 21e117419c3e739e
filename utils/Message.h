/// @file
/// The one way in which messages reach standard output.
#pragma once

#include <string>

namespace hcrpt {

/// Prints "[Crash Reporter] ", the text and a line feed, and flushes. @crashtime
void printMessage(const std::string& text);
/// Prints "[Crash Reporter] Error: ", the text and a line feed, and flushes. @crashtime
void printError(const std::string& text);
/// Prints the text as it is and flushes: for lines without prefix. @crashtime
void printRaw(const std::string& text);
/// Prints the text as it is and leaves it in the buffer, where the next message follows it.
/// @crashtime
void printUnflushed(const std::string& text);

}  // namespace hcrpt

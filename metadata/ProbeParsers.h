/// @file
/// Parses the system's texts for the probes.
#pragma once

#include <istream>
#include <string>

namespace hcrpt {

/// Returns the processor model: the part of the first "model name" line that begins two characters
/// after its first ":". Empty when there is no such line.
///
/// | line | result |
/// |---|---|
/// | `model name	: Fast CPU 3000` | `Fast CPU 3000` |
/// | `model name	:` | empty |
/// | `model name Fast` | `odel name Fast`: without ":", all but the first character |
std::string cpuModel(std::istream& cpuinfo);

/// Returns one line of the memory table as "name : value". The value ends before the next ":".
///
/// | line | result |
/// |---|---|
/// | `MemTotal:       16384 kB` | `MemTotal : 16384 kB` |
/// | `a: b: c` | `a : b` |
/// | `a:`, `a:   `, `a`, empty | std::out_of_range |
std::string memoryTableLine(const std::string& line);

/// Returns the first release line, a blank and the machine type.
std::string osInfo(const std::string& releaseLine, const std::string& machine);

/// Returns the text after the last blank of a process map's summary; the whole summary when it has
/// no blank.
std::string mapTotal(const std::string& summary);

/// Return one column of `ps -o %cpu=,%mem=`, followed by " %". Both expect columns of four
/// characters that begin with a blank; a wider number loses its first digit.
///
/// | output | cpuColumn | memoryColumn |
/// |---|---|---|
/// | ` 0.0  0.1` | `0.0 %` | `0.1 %` |
/// | `12.5 10.5` | `2.5 %` | `0.5 %` |
/// | ` 0.0` | `0.0 %` | `0.0 %`: without a second blank, the whole text |
/// | empty | ` %` | ` %` |
std::string cpuColumn(const std::string& psOutput);
std::string memoryColumn(const std::string& psOutput);

/// Returns the command line without the directories of its program (up to the last "/" or "\"
/// before the first blank).
std::string withoutProgramDirectory(const std::string& cmdline);

/// Returns the word after "-source" and its blanks; empty when there is none. Characters between
/// "-source" and the next blank belong to the option.
std::string sourceScript(const std::string& cmdline);

}  // namespace hcrpt

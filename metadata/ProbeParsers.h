/// @file
/// What the probes make of the texts that the system gives them.
#pragma once

#include <istream>
#include <string>

namespace hcrpt {

/// Processor model: the first line that begins with "model name", from two characters after its
/// first ":". Empty when there is no such line.
///
/// | line | result |
/// |---|---|
/// | `model name	: Fast CPU 3000` | `Fast CPU 3000` |
/// | `model name	:` | empty |
/// | `model name Fast` | `odel name Fast`: without ":", all but the first character |
std::string cpuModel(std::istream& cpuinfo);

/// One line of the memory table as "name : value". The value goes up to the next ":".
///
/// | line | result |
/// |---|---|
/// | `MemTotal:       16384 kB` | `MemTotal : 16384 kB` |
/// | `a: b: c` | `a : b` |
/// | `a:`, `a:   `, `a`, empty | std::out_of_range |
std::string memoryTableLine(const std::string& line);

/// "line machine" of the first release line and the machine type.
std::string osInfo(const std::string& releaseLine, const std::string& machine);

/// The text after the last blank of a process map's summary; all of it when there is none.
std::string mapTotal(const std::string& summary);

/// The columns of `ps -o %cpu=,%mem=`, followed by " %". Cut for columns of four characters of
/// which the first is blank; wider numbers lose their first digit.
///
/// | output | cpuColumn | memoryColumn |
/// |---|---|---|
/// | ` 0.0  0.1` | `0.0 %` | `0.1 %` |
/// | `12.5 10.5` | `2.5 %` | `0.5 %` |
/// | ` 0.0` | `0.0 %` | `0.0 %`: without a second blank, the whole text |
/// | empty | ` %` | ` %` |
std::string cpuColumn(const std::string& psOutput);
std::string memoryColumn(const std::string& psOutput);

/// A command line whose program has lost its directories (up to the last "/" or "\" before the
/// first blank).
std::string withoutProgramDirectory(const std::string& cmdline);

/// The word after "-source" and its blanks; empty when there is none. Whatever follows "-source" up
/// to the next blank counts as part of it.
std::string sourceScript(const std::string& cmdline);

}  // namespace hcrpt

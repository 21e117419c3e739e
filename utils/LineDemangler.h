/// @file
/// Demangling of many trace lines.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

namespace hcrpt {

/// What HCrashRptUtils::demangle() does, without a new text for each line and with a memory of
/// names: the trace of a stack overflow repeats a few of them over and over. Grade: @ordinary, one
/// object in one thread at a time.
class LineDemangler {
  public:
    /// Appends the line to a text, its name demangled if it has one.
    void append(std::string_view line, std::string& to);

  private:
    /// Readable form of m_name; null when there is none.
    const std::string* demangledName();

    std::string m_name;
    std::unordered_map<std::string, std::string> m_known;
    std::string m_notKept;  ///< demangled form of a name for which the memory has no room
};

}  // namespace hcrpt

/// @file
/// Output files that appear whole or not at all.
#pragma once

#include <fstream>
#include <string>

namespace hcrpt {

/// Writes a file beside its place, under a hidden name that no listing by prefix finds, and renames
/// it into place when it is complete. Readers that poll for the file thus never see half of it.
/// Where no file can be made beside it (a directory without write permission that holds a writable
/// file), the file itself is written instead.
/// Grade: @crashtime.
class WholeFile {
  public:
    /// Opens the file for writing; see isOpen().
    explicit WholeFile(const std::string& path);
    /// Without commit(), removes what was written.
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// Whether the place can be written to. An existing directory at the path cannot.
    bool isOpen() const;
    std::ofstream& stream() { return m_stream; }
    /// Flushes, closes and puts the file into its place, replacing an older one.
    void commit();

  private:
    std::string m_path;
    std::string m_temporary;  ///< empty when the file is written in its place
    std::ofstream m_stream;
    bool m_committed = false;
};

}  // namespace hcrpt

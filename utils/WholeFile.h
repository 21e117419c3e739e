/// @file
/// Output files that appear whole or not at all.
#pragma once

#include <fstream>
#include <string>

namespace hcrpt {

/// Writes a file beside its place, under a hidden name that no listing by prefix finds, and renames
/// it into place when it is complete. Readers that poll for the file thus never see half of it. The
/// file is for its owner only.
///
/// Two kinds of places are written directly instead: a writable file in a directory where no other
/// can be made, and anything that is neither a file nor a directory, such as a device.
/// Grade: @crashtime.
class WholeFile {
  public:
    /// Opens the file for writing; see isOpen().
    explicit WholeFile(const std::string& path);
    /// Without commit(), removes the file beside the place; the place is left as it was.
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    /// Whether the place can be written to. An existing directory at the path cannot, nor can a
    /// file that this user may not write.
    bool isOpen() const;
    std::ofstream& stream() { return m_stream; }
    /// Flushes, closes and puts the file into its place, replacing an older one.
    void commit();

  private:
    bool openBeside();
    void openInPlace();

    std::string m_path;
    std::string m_temporary;  ///< empty when the file is written in its place
    std::ofstream m_stream;
    bool m_committed = false;
};

}  // namespace hcrpt

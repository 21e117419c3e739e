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
class AtomicFile {
  public:
    /// Opens the file for writing; see isOpen().
    explicit AtomicFile(const std::string& path);
    /// Removes the file beside the place unless it was put there; the place is left as it was.
    ~AtomicFile();
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;

    /// Returns true when the place can be written to. An existing directory at the path cannot, nor
    /// can a file that this user may not write, nor a named pipe that nobody reads.
    [[nodiscard]] bool isOpen() const;
    std::ofstream& stream() { return m_stream; }
    /// Closes the file and puts it into its place, replacing an older one, if all that was written
    /// has arrived. Otherwise the place is left as it was, but for one that is written directly.
    /// For texts: a stream buffer inserted as a whole does not report a short write.
    /// @return true when the complete file is in its place.
    [[nodiscard]] bool commit();
    /// Closes the file and puts it into its place, replacing an older one, whatever the stream's
    /// state: for content of which a part, cut off by a full disk, is better than none.
    /// @return true when what has arrived is in its place.
    [[nodiscard]] bool commitPart();

  private:
    bool putInPlace();
    bool openBeside();
    void openInPlace();
    void openPipe();

    std::string m_path;
    std::string m_temporary;  ///< empty when the file is written in its place
    std::ofstream m_stream;
    bool m_committed = false;
};

}  // namespace hcrpt

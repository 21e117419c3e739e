/// @file
/// Files and directories by path.
#pragma once

#include <string>

#include "HUTExport.h"

class HUTFileIter;

/// A path and what can be done with it. The path is kept as it is passed.
///
/// Grade: @crashtime. Threads: any, one object in one thread at a time. Failures are results;
/// nothing is thrown but the standard exceptions of exhausted memory, and nothing is printed.
class HUT_EXPORT HUTFile {
  public:
    /// What copyToDir() does when a file of the same name is already there.
    enum CopyMode {
        COPY_KEEP = 0,     ///< leaves it and fails
        COPY_REPLACE = 1,  ///< replaces it
    };

    explicit HUTFile(const std::string& path);

    // --- Tests --------------------------------------------------------------------------------
    /// Whether something exists at the path (links are followed).
    bool exists() const;
    static bool exists(const std::string& path);
    bool isDir() const;
    /// Whether it is a regular file that this user may execute.
    bool isExecutable() const;
    /// Whether a file may be created or overwritten there: a regular file that may be written, or
    /// nothing yet in an existing directory that may be written. False for a directory.
    static bool isWriteable(const std::string& path);

    // --- Names --------------------------------------------------------------------------------
    /// The last component of the path.
    std::string getName() const;
    /// Fills out with the absolute, normalised path. What does not exist yet is normalised too;
    /// out is empty when the path is.
    void getCanonicalName(std::string& out) const;
    /// "/"
    static std::string getDirSeparator();

    // --- Changes ------------------------------------------------------------------------------
    /// Makes one directory, for its owner only. @return whether it is there now.
    bool mkDir() const;
    /// Makes a directory and its missing parents, each for its owner only. One that another process
    /// makes meanwhile is fine. @return whether it is there now.
    bool mkDirRecursive() const;
    /// Removes a file. @return whether this removed it.
    bool rm() const;
    /// Removes a directory with all that is in it, or a file. Symbolic links are removed, never
    /// followed. @return whether nothing is left.
    bool rmRecursive() const;
    /// Copies the file into a directory under its own name. The copy appears there whole or not at
    /// all. @return whether it is there.
    bool copyToDir(const std::string& directory, CopyMode mode) const;

    // --- Listing ------------------------------------------------------------------------------
    /// The directory's entries but "." and "..", in the order that the system gives them. The
    /// caller owns the iterator. A directory that cannot be read gives one without entries.
    HUTFileIter* createFileIter() const;

  private:
    std::string m_path;
};

/// Walks the entries of a directory.
class HUT_EXPORT HUTFileIter {
  public:
    virtual ~HUTFileIter();
    /// Whether there is a current entry.
    virtual bool isValid() const = 0;
    /// Full path of the current entry. Requires isValid().
    virtual std::string getPath() const = 0;
    /// Goes on to the next entry. Requires isValid().
    virtual void next() = 0;
};

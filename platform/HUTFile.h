/// @file
/// Files and directories by path.
#pragma once

#include <string>

#include "HUTExport.h"

class HUTFileIter;

/// A path and the operations on it. The path is stored unchanged.
///
/// Grade: @crashtime. Threads: any, one object in one thread at a time. Failures are results; the
/// only exceptions are the standard ones of exhausted memory. No messages.
class HUT_EXPORT HUTFile {
  public:
    /// What copyToDir() does when the directory already has a file of the same name.
    enum CopyMode {
        COPY_KEEP = 0,     ///< keeps that file and fails
        COPY_REPLACE = 1,  ///< replaces that file
    };

    explicit HUTFile(const std::string& path);

    // --- Tests --------------------------------------------------------------------------------
    /// Returns true when the path exists (links are followed).
    bool exists() const;
    static bool exists(const std::string& path);
    bool isDir() const;
    /// Returns true for a regular file that this user may execute.
    bool isExecutable() const;
    /// Returns true when this user may create or overwrite a file at the path: it is a writable
    /// regular file, or does not exist yet in an existing writable directory. False for a
    /// directory.
    static bool isWriteable(const std::string& path);

    // --- Names --------------------------------------------------------------------------------
    /// The last component of the path.
    std::string getName() const;
    /// Sets out to the absolute, normalised path. The path need not exist. An empty path gives an
    /// empty text.
    void getCanonicalName(std::string& out) const;
    /// "/"
    static std::string getDirSeparator();

    // --- Changes ------------------------------------------------------------------------------
    /// Creates one directory, for its owner only. @return true when the directory exists now
    bool mkDir() const;
    /// Creates a directory and its missing parents, each for its owner only. Another process may
    /// create them at the same time. @return true when the directory exists now
    bool mkDirRecursive() const;
    /// Removes a file. @return true when this call removed it
    bool rm() const;
    /// Removes a file, or a directory with all its content. Symbolic links are removed, never
    /// followed. @return true when nothing is left
    bool rmRecursive() const;
    /// Copies the file into a directory under its own name. The copy appears complete or not at
    /// all. @return true when the copy exists
    bool copyToDir(const std::string& directory, CopyMode mode) const;

    // --- Listing ------------------------------------------------------------------------------
    /// Lists the directory's entries except "." and "..", in the system's order. The caller owns
    /// the iterator. It has no entries when the directory cannot be read.
    HUTFileIter* createFileIter() const;

  private:
    std::string m_path;
};

/// Iterates over the entries of a directory.
class HUT_EXPORT HUTFileIter {
  public:
    virtual ~HUTFileIter();
    /// Returns true when there is a current entry.
    virtual bool isValid() const = 0;
    /// Full path of the current entry. Requires isValid().
    virtual std::string getPath() const = 0;
    /// Advances to the next entry. Requires isValid().
    virtual void next() = 0;
};

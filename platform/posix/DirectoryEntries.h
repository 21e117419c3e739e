/// @file
/// Iterates over the entries of a directory.
#pragma once

#include <dirent.h>

#include <string>

#include "HUTFile.h"

class DirectoryEntries : public HUTFileIter {
  public:
    explicit DirectoryEntries(const std::string& directory);
    ~DirectoryEntries() override;
    DirectoryEntries(const DirectoryEntries&) = delete;
    DirectoryEntries& operator=(const DirectoryEntries&) = delete;

    bool isValid() const override;
    std::string getPath() const override;
    void next() override;

  private:
    std::string m_directory;
    DIR* m_stream;
    const dirent* m_entry = nullptr;
};

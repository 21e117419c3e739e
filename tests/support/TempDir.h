/// @file
/// A directory of a test's own.
#pragma once

#include <filesystem>
#include <string>

#include "support/Files.h"

namespace test_support {

/// A fresh directory below the system's temporary one, removed with all that is in it at the end of
/// the scope. Its name holds no characters that need quoting.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return m_path; }
    /// Full path of a name below it.
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

/// The working directory for the time of a scope.
class ScopedWorkingDirectory {
  public:
    explicit ScopedWorkingDirectory(const std::string& path);
    ~ScopedWorkingDirectory();
    ScopedWorkingDirectory(const ScopedWorkingDirectory&) = delete;
    ScopedWorkingDirectory& operator=(const ScopedWorkingDirectory&) = delete;

  private:
    std::filesystem::path m_before;
};

}  // namespace test_support

#include "support/TempDir.h"

#include <cstdlib>
#include <stdexcept>

namespace test_support {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "hcrpt-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
    m_path = std::filesystem::canonical(pattern).string();
}

TempDir::~TempDir() {
    namespace fs = std::filesystem;
    std::error_code ignored;
    // Directories that a test has made unwritable would keep their content.
    fs::permissions(m_path, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (auto it = fs::recursive_directory_iterator(
             m_path, fs::directory_options::skip_permission_denied, ignored);
         it != fs::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_directory(ignored) && !it->is_symlink(ignored))
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
    }
    fs::remove_all(m_path, ignored);
}

ScopedWorkingDirectory::ScopedWorkingDirectory(const std::string& path)
    : m_before(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
}

ScopedWorkingDirectory::~ScopedWorkingDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(m_before, ignored);
}

}  // namespace test_support

#include "HUTFile.h"

#include "HUTBackend.h"
#include "PathText.h"

namespace {

HUTBackend& backend() {
    return HUTBackend::current();
}

}  // namespace

HUTFileIter::~HUTFileIter() = default;

HUTFile::HUTFile(const std::string& path) : m_path(path) {}

bool HUTFile::exists() const {
    return backend().exists(m_path);
}
bool HUTFile::exists(const std::string& path) {
    return backend().exists(path);
}
bool HUTFile::isDir() const {
    return backend().isDir(m_path);
}
bool HUTFile::isExecutable() const {
    return backend().isExecutable(m_path);
}
bool HUTFile::isWriteable(const std::string& path) {
    return backend().isWriteable(path);
}

std::string HUTFile::getName() const {
    return path_text::lastComponent(m_path);
}
void HUTFile::getCanonicalName(std::string& out) const {
    out = backend().canonicalName(m_path);
}
std::string HUTFile::getDirSeparator() {
    return "/";
}

bool HUTFile::mkDir() const {
    return backend().mkDir(m_path);
}
bool HUTFile::mkDirRecursive() const {
    return backend().mkDirRecursive(m_path);
}
bool HUTFile::rm() const {
    return backend().rm(m_path);
}
bool HUTFile::rmRecursive() const {
    return backend().rmRecursive(m_path);
}
bool HUTFile::copyToDir(const std::string& directory, CopyMode mode) const {
    return backend().copyToDir(m_path, directory, mode);
}

HUTFileIter* HUTFile::createFileIter() const {
    return backend().createFileIter(m_path);
}

#include "DirectoryEntries.h"

#include <cstring>

DirectoryEntries::DirectoryEntries(const std::string& directory)
    : m_directory(directory), m_stream(opendir(directory.c_str())) {
    DirectoryEntries::next();
}

DirectoryEntries::~DirectoryEntries() {
    if (m_stream) closedir(m_stream);
}

bool DirectoryEntries::isValid() const {
    return m_entry != nullptr;
}

std::string DirectoryEntries::getPath() const {
    return m_directory + "/" + m_entry->d_name;
}

void DirectoryEntries::next() {
    do m_entry = m_stream ? readdir(m_stream) : nullptr;
    while (m_entry &&
           (std::strcmp(m_entry->d_name, ".") == 0 || std::strcmp(m_entry->d_name, "..") == 0));
}

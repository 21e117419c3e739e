#include "store/FileListing.h"

#include <memory>

#include "HUTFile.h"

namespace hcrpt {

std::vector<std::vector<std::string>> filesWithPrefixes(const std::vector<std::string>& prefixes,
                                                        const std::string& directory) {
    std::vector<std::vector<std::string>> files(prefixes.size());
    if (directory.empty()) return files;
    const HUTFile parent(directory);
    if (!parent.isDir()) return files;
    const std::unique_ptr<HUTFileIter> entries(parent.createFileIter());
    for (; entries->isValid(); entries->next()) {
        const HUTFile entry(entries->getPath());
        const std::string name = entry.getName();
        for (std::size_t i = 0; i < prefixes.size(); ++i) {
            const std::string& prefix = prefixes[i];
            // The kind of an entry is asked for last: of all that is asked here that alone is a
            // system call.
            if (!prefix.empty() && name.compare(0, prefix.size(), prefix) == 0 && !entry.isDir())
                files[i].push_back(directory + HUTFile::getDirSeparator() + name);
        }
    }
    return files;
}

std::vector<std::string> filesWithPrefix(const std::string& prefix, const std::string& directory) {
    return filesWithPrefixes({prefix}, directory).front();
}

}  // namespace hcrpt

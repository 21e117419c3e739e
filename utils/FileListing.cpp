#include "utils/FileListing.h"

#include <memory>

#include "HUTFile.h"
#include "hcrpt/HCrashRptUtils.h"

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

}  // namespace hcrpt

namespace HCrashRptUtils {

std::vector<std::string> getFilesWithPrefix(std::string prefix, std::string directory) {
    return hcrpt::filesWithPrefixes({std::move(prefix)}, directory).front();
}

}  // namespace HCrashRptUtils

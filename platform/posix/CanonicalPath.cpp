#include "CanonicalPath.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <memory>

#include "PathText.h"

namespace {

struct Free {
    void operator()(char* text) const { free(text); }
};

// Appends the components of rest to an absolute directory and resolves "." and "..".
std::string below(std::string directory, const std::string& rest) {
    if (directory == "/") directory.clear();
    for (std::size_t begin = 0; begin < rest.size();) {
        const std::size_t slash = rest.find('/', begin);
        const std::size_t end = slash == std::string::npos ? rest.size() : slash;
        const std::string component = rest.substr(begin, end - begin);
        begin = end + 1;
        if (component.empty() || component == ".") continue;
        if (component == "..")
            directory.resize(directory.empty() ? 0 : directory.rfind('/'));
        else
            directory += "/" + component;
    }
    return directory.empty() ? "/" : directory;
}

// Resolves the longest existing part of an absolute path. A dangling link counts as missing and
// stays unchanged.
std::string resolveExistingPart(const std::string& path) {
    for (std::size_t end = path.size(); end > 0; end = path.rfind('/', end - 1)) {
        const std::unique_ptr<char, Free> real(realpath(path.substr(0, end).c_str(), nullptr));
        if (real) return below(real.get(), path.substr(end));
    }
    return below("/", path);
}

}  // namespace

std::string canonicalPath(const std::string& path) {
    if (path.empty()) return path;
    std::string absolute = path;
    if (!path_text::isAbsolute(path)) {
        const std::string directory = currentDirectory();
        if (directory.empty()) return directory;
        absolute = directory + "/" + path;
    }
    // Resolved twice, because ".." behind a missing component can lead back to an existing path.
    return resolveExistingPart(resolveExistingPart(absolute));
}

std::string currentDirectory() {
    for (std::size_t size = PATH_MAX;; size *= 2) {
        std::string directory(size, '\0');
        if (getcwd(directory.data(), size)) {
            directory.resize(directory.find('\0'));
            return path_text::isAbsolute(directory) ? directory : "";
        }
        if (errno != ERANGE) return "";
    }
}

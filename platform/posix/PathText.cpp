#include "PathText.h"

namespace path_text {
namespace {

const std::string kProgramsBelowRoot = "/bin/unwrapped/lnx64.o";

}  // namespace

bool isAbsolute(const std::string& path) {
    return !path.empty() && path.front() == '/';
}

std::string withoutTrailingSlashes(const std::string& path) {
    const std::size_t last = path.find_last_not_of('/');
    if (last == std::string::npos) return path.substr(0, 1);
    return path.substr(0, last + 1);
}

std::string lastComponent(const std::string& path) {
    const std::string trimmed = withoutTrailingSlashes(path);
    const std::size_t slash = trimmed.rfind('/');
    return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}

std::string parentDirectory(const std::string& path) {
    const std::string trimmed = withoutTrailingSlashes(path);
    const std::size_t slash = trimmed.rfind('/');
    if (slash == std::string::npos) return ".";
    return withoutTrailingSlashes(trimmed.substr(0, slash + 1));
}

std::string installationRoot(const std::string& executable) {
    if (executable.empty()) return executable;
    const std::string directory = parentDirectory(executable);
    const std::size_t tail = kProgramsBelowRoot.size();
    if (directory.size() < tail ||
        directory.compare(directory.size() - tail, tail, kProgramsBelowRoot) != 0)
        return directory;
    const std::string root = directory.substr(0, directory.size() - tail);
    return root.empty() ? "/" : root;
}

}  // namespace path_text

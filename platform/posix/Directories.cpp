#include "Directories.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "FactParsers.h"
#include "FileTests.h"
#include "MachineFacts.h"
#include "MakeDirectory.h"
#include "PathText.h"

namespace directories {
namespace {

// A relative path would name another directory after each change of the working directory.
std::string absolutePathIn(const char* variable) {
    const char* value = std::getenv(variable);
    return value && path_text::isAbsolute(value) ? value : "";
}

// Returns the directory where the user's programs keep their data; empty for a user without a home
// directory.
std::string userDataHome() {
    const std::string chosen = absolutePathIn("XDG_DATA_HOME");
    if (!chosen.empty()) return chosen;
    std::string home = absolutePathIn("HOME");
    if (home.empty()) home = machineFacts().homeDirectory;
    return path_text::isAbsolute(home) ? home + "/.local/share" : "";
}

// Returns true for a directory of this user that no one else may write. In /tmp the name proves
// nothing: another user may have created the directory first.
bool isForThisUserOnly(const std::string& directory) {
    struct stat status = {};
    return lstat(directory.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::string privateBelowTmp(const std::string& product) {
    std::string base = absolutePathIn("TMPDIR");
    // The path of the upload's log begins with this directory and stands unquoted in a shell
    // command.
    if (base.empty() || !facts::needsNoQuotes(base)) base = "/tmp";
    const std::string directory = base + "/" + product + "-" + machineFacts().userName;
    return makeDirectory(directory) && isForThisUserOnly(directory) ? directory : "";
}

}  // namespace

std::string appRoot() {
    const std::string chosen = absolutePathIn("HUT_APP_ROOT");
    return chosen.empty() ? path_text::installationRoot(machineFacts().executable) : chosen;
}

std::string appDataDir(const std::string& productName) {
    std::string directory = absolutePathIn("HUT_APP_DATA_DIR");
    if (directory.empty()) {
        const std::string product = facts::productDirectoryName(productName);
        const std::string home = userDataHome();
        directory = home.empty() ? privateBelowTmp(product) : home + "/" + product;
    }
    // A failure is not reported here: whoever uses the directory notices it.
    makeDirectories(directory);
    return directory;
}

std::string tmpDir(const std::string& productName) {
    const std::string chosen = absolutePathIn("HUT_TMP_DIR");
    if (!chosen.empty()) return chosen;
    const std::string product = facts::productDirectoryName(productName);
    const std::string directory = privateBelowTmp(product);
    if (!directory.empty()) return directory;
    const std::string home = userDataHome();
    return home.empty() ? "" : home + "/" + product + "/tmp";
}

std::string dataDir(const std::string& appRoot, const std::string& relativePath) {
    const char* list = std::getenv("HUT_DATA_DIR");
    std::istringstream roots(list ? list : "");
    for (std::string root; std::getline(roots, root, ':');)
        if (path_text::isAbsolute(root) && file_tests::exists(root + "/" + relativePath))
            return root;
    return appRoot + "/data";
}

}  // namespace directories

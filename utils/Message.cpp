#include "utils/Message.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "utils/StdioOutput.h"

namespace {

constexpr char kPrefix[] = "[Crash Reporter] ";
constexpr char kErrorPrefix[] = "[Crash Reporter] Error: ";

bool standardOutputClosed = false;

/// Takes the rights of all others away from an older file that was opened again.
void restrictToOwner(int fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) fchmod(fd, S_IRUSR | S_IWUSR);
}

/// A freopen() that fails has closed the stream already, and with it the place where what follows
/// could be said. So the file is tried first.
bool canBeOpened(const std::string& path) {
    const int fd =
        open(path.c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0) return false;
    close(fd);
    return true;
}

}  // namespace

namespace hcrpt {

void logInfo(const std::string& text) {
    printRaw(kPrefix + text + "\n");
}

void logError(const std::string& text) {
    printRaw(kErrorPrefix + text + "\n");
}

void printRaw(const std::string& text) {
    if (standardOutputClosed) return;
    flockfile(stdout);
    putText(stdout, text.data(), text.size());
    flushText(stdout);
    funlockfile(stdout);
}

void printUnflushed(const std::string& text) {
    if (!standardOutputClosed) std::fwrite(text.data(), 1, text.size(), stdout);
}

void redirectStandardOutput(const std::string& path) {
    if (standardOutputClosed) return;
    const mode_t before = umask(S_IRWXG | S_IRWXO);
    if (!canBeOpened(path)) {
        umask(before);
        return;
    }
    const bool opened = std::freopen(path.c_str(), "w", stdout) != nullptr;
    umask(before);
    if (opened)
        restrictToOwner(fileno(stdout));
    else
        standardOutputClosed = true;
}

void closeStandardOutput() {
    if (standardOutputClosed) return;
    standardOutputClosed = true;
    std::fclose(stdout);
}

}  // namespace hcrpt

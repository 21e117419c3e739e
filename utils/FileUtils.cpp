#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "HUTFile.h"
#include "base/OpenStream.h"
#include "hcrpt/HCrashRptUtils.h"
#include "utils/Message.h"

namespace HCrashRptUtils {

int fileOpen(const std::string& path) {
    // A program that is started meanwhile must not keep the file's lock alive.
    return open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
}

int fileClose(int fd) {
    return close(fd);
}

ssize_t fileWrite(int fd, const std::string& data) {
    return write(fd, data.data(), data.size());
}

int fileLock(int fd, const std::string& mode) {
    if (mode == "LOCK_EX|LOCK_NB") return flock(fd, LOCK_EX | LOCK_NB);
    if (mode == "LOCK_UN") return flock(fd, LOCK_UN);
    return -1;
}

bool isFileEmpty(std::string path) {
    if (hcrpt::isNamedPipe(path)) return true;  // would hold up all other reports
    std::ifstream in(path, std::ios::binary);
    return in.get() == std::ifstream::traits_type::eof();
}

bool handleIfEmptyFile(std::string path) {
    // Contract: an empty path counts as an empty report; there is no file to remove.
    if (!path.empty()) {
        if (!isFileEmpty(path)) return false;
        HUTFile(path).rm();
    }
    hcrpt::logInfo("Empty crash report not sent.");
    return true;
}

std::string deleteBlanks(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    return text;
}

}  // namespace HCrashRptUtils
